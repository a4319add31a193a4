' Properties and lists: values in every form, walks, For Each, and objects of items that have gone.
'
'   cscript lists.vbs FOLDER IP-ADDRESS
'
' The arguments are not used.
Option Explicit

Const PointerWrong = &H80004003       ' E_POINTER
Const Exception = &H80020009          ' DISP_E_EXCEPTION

Dim prop, list, strings

' ---- a property ----

Set prop = CreateObject("VexKamCOMWrapper.VexProperty")
prop.Name = "Gain"
prop.ValueInteger = 42
Expect "an integer as text", prop.Value, "42"
Expect "an integer as a double", prop.ValueDouble, 42
prop.ValueDouble = 0.1
Expect "a double as text", prop.Value, "0.1"
If prop.ValueDouble <> 0.1 Then Fail "a double changed on its way"
prop.Value = "0x10"
Expect "hexadecimal digits as an integer", CStr(prop.ValueInteger), "16"
prop.Value = "9223372036854775807"
Expect "64 bits", CStr(prop.ValueInteger), "9223372036854775807"

Dim number
number = "as it was"
prop.Value = "1,5"
On Error Resume Next
number = prop.ValueInteger
ExpectError "an integer of other text", Exception, "VexProperty", _
    "The property 'Gain' is not an integer of 64 bits: '1,5'"
number = prop.ValueDouble
ExpectError "a double of other text", Exception, "VexProperty", "The property 'Gain' is not a number: '1,5'"
On Error GoTo 0
Expect "the variable of a value that could not be read", number, "as it was"

' ---- a property list ----

Set list = CreateObject("VexKamCOMWrapper.VexPropertyList")
Expect "the size of an empty list", CStr(list.Size), "0"
If Not list.GetFirst Is Nothing Then Fail "an empty list has a first property"
AddProperty "a", 1
AddProperty "b", 2
AddProperty "c", 3
Expect "the size", CStr(list.Size), "3"
If Not list.GetItem(3) Is Nothing Then Fail "there is an item past the last"
If Not list.GetItem(2) Is list.GetItem(2) Then Fail "an index gives two objects"
If Not list.GetFirst Is list.GetFirst Then Fail "two walks begin with two objects"

Dim second, third
Set second = list.GetNext
Set third = list.GetNext
If second Is third Then Fail "a walk gives one object twice"
Expect "the second of a walk", second.Name & third.Name, "bc"
If Not list.GetNext Is Nothing Then Fail "a walk goes on after the last"

prop.Name = "copied"
prop.Value = "before"
list.Add prop
prop.Value = "after"
Expect "the list's copy", list.GetItem(3).Value, "before"
list.GetItem(3).Value = "written"
Expect "an item that was written to", list.GetItem(3).Value, "written"

Dim each_one, found, inner
found = ""
list.GetFirst
For Each each_one In list
    For Each inner In list
        found = found & inner.Name
    Next
    found = found & "/" & each_one.Name & "=" & each_one.Value & " "
Next
Expect "For Each over properties", found, _
    "abccopied/a=1 abccopied/b=2 abccopied/c=3 abccopied/copied=written "
Expect "the walk that For Each left alone", list.GetNext.Name, "b"

On Error Resume Next
list.Add Nothing
ExpectError "adding nothing", PointerWrong, "VexPropertyList", _
    "Argument 1 is nothing where an IVexProperty is wanted"
list.Clear
number = second.Value
ExpectError "a property of a list that was cleared", PointerWrong, "VexProperty", _
    "This VexProperty is not attached to anything"
On Error GoTo 0
If Not list.GetNext Is Nothing Then Fail "a walk goes on in a cleared list"
AddProperty "x", 9
Set second = list.GetItem(0)
Set list = Nothing
On Error Resume Next
number = second.Value
ExpectError "a property of a list that has gone", PointerWrong, "VexProperty", _
    "This VexProperty is not attached to anything"
On Error GoTo 0

' ---- a string list ----

Set strings = CreateObject("VexKamCOMWrapper.VexStringList")
For Each each_one In strings
    Fail "an empty string list has a text"
Next
strings.Add "one"
strings.Add 2
strings.Add "three"
Expect "the number of texts", CStr(strings.Size), "3"
Expect "a walk over texts", strings.GetFirst & strings.GetNext & strings.GetNext & strings.GetNext, "one2three"
Expect "a text by its index", strings.GetItem(1), "2"
Expect "no text", strings.GetItem(3), ""
found = ""
For Each each_one In strings
    found = found & each_one & " "
Next
Expect "For Each over texts", found, "one 2 three "
strings.Clear
Expect "the number of texts when cleared", CStr(strings.Size), "0"

WScript.Echo "Done."
WScript.Quit 0

Sub AddProperty(name, value)
    Dim added
    Set added = CreateObject("VexKamCOMWrapper.VexProperty")
    added.Name = name
    added.Value = value
    list.Add added
End Sub

Sub Expect(what, found, wanted)
    If CStr(found) = CStr(wanted) Then Exit Sub
    Fail what & " is '" & found & "', not '" & wanted & "'"
End Sub

Sub ExpectError(what, number, class_name, text)
    Dim found, source, description
    found = Err.Number
    source = Err.Source
    description = Err.Description
    Err.Clear
    Expect what & ": number", Hex(found), Hex(number)
    Expect what & ": source", source, "VexKamCOMWrapper." & class_name & ".1"
    Expect what & ": text", description, text
End Sub

Sub Fail(what)
    WScript.Echo "Failed: " & what
    WScript.Quit 1
End Sub
