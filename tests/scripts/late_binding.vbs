' Late binding: counts, Nothing, outputs that are left out, arrays both ways, For Each, default properties, error texts.
'
'   cscript late_binding.vbs FOLDER IP-ADDRESS
'
' FOLDER is not used. The software camera is at IP-ADDRESS.
Option Explicit

Const AccessControl = 1
Const WrongArgumentCount = 450
Const NoSuchMember = 438
Const TypeMismatch = 13
Const TooLarge = 6

Dim system, device, features, count, number, i, value, name, list, text

' ---- counts: CLng alone makes them VBScript's own numbers ----

Set system = CreateObject("VexKamCOMWrapper.VexSystem")
If system.Find().IsFailure Then Fail "searching"
count = system.InterfaceCount
Expect "the type of a count", VarType(count), 19
number = CLng(count)
Expect "the type of CLng of it", VarType(number), vbLong
If number < 1 Then Fail "there is no interface"
For i = 0 To CLng(system.InterfaceCount) - 1
    If system.GetInterface(i) Is Nothing Then Fail "interface " & i & " is Nothing"
Next
Expect "interfaces", i, number
If Not system.GetInterface(number) Is Nothing Then Fail "there is one interface more than counted"

' ---- outputs, Nothing ----

Set device = CreateObject("VexKamCOMWrapper.VexDevice")
If device.ConnectString(WScript.Arguments(1), AccessControl).IsFailure Then Fail "connecting"
Set features = device.GenParameters
value = "before"
If features.SetIntegerValue("Width", 320).IsFailure Then Fail "setting Width"
If features.GetIntegerValue("Width", value).IsFailure Then Fail "reading Width"
Expect "Width", CDbl(value), 320
If Not features.GetInteger("NoSuchFeature") Is Nothing Then Fail "a feature that there is not is not Nothing"
device.RegisterEventSink Nothing

On Error Resume Next
features.GetIntegerValue "Width"
ExpectError "an output that is left out", WrongArgumentCount
features.GetInteger
ExpectError "an input that is left out", WrongArgumentCount
system.Find 1
ExpectError "an argument too many", WrongArgumentCount
system.NoSuchMember
ExpectError "a member that there is not", NoSuchMember
system.InterfaceCount = 1
ExpectError "a property that is only read", NoSuchMember
text = "" & system
ExpectError "a default property, which no interface has", NoSuchMember
Set value = system.GetInterface("one")
ExpectError "a text for a number", TypeMismatch
Set value = system.GetInterface(-1)
ExpectError "a number below 0 for an unsigned one", TooLarge
features.GetInteger("Width").Value = -1
If Err.Description <> "Width: -1 is below its minimum of 16" Then Fail "the text is " & Err.Description
If Err.Source <> "VexKamCOMWrapper.VexGenInteger.1" Then Fail "the source is " & Err.Source
Err.Clear
On Error GoTo 0

' ---- arrays, For Each ----

Dim memory, length, bytes, again
Set memory = features.GetRegister("UserMemory")
length = CLng(memory.Length)
bytes = Split(Space(length - 1), " ")
again = Split(Space(length - 1), " ")
For i = 0 To length - 1
    bytes(i) = (5 * i) Mod 256
    again(i) = 0
Next
If memory.Set(bytes).IsFailure Then Fail "writing an array"
If memory.Get(again).IsFailure Then Fail "reading into an array"
For i = 0 To length - 1
    Expect "byte " & i, again(i), (5 * i) Mod 256
Next

Set list = CreateObject("VexKamCOMWrapper.VexStringList")
list.Add "one"
list.Add "two"
text = ""
For Each name In list
    text = text & name & " "
Next
Expect "For Each", text, "one two "

If device.Disconnect().IsFailure Then Fail "disconnecting"
WScript.Echo "Done."
WScript.Quit 0

Sub ExpectError(what, wanted)
    Dim found
    found = Err.Number
    Err.Clear
    Expect what, found, wanted
End Sub

Sub Expect(what, found, wanted)
    If CStr(found) <> CStr(wanted) Then Fail what & ": " & CStr(found) & ", not " & CStr(wanted)
End Sub

Sub Fail(text)
    WScript.Echo "Failed: " & text
    WScript.Quit 1
End Sub
