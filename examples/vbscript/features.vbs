' Features: prints all features of a camera, sets and reads one of every type, and shows how errors are told.
'
'   cscript features.vbs [IP-ADDRESS [LEVEL]]
'
' IP-ADDRESS picks a camera (default, or "any": the first one found). LEVEL is the user level up to which features are
' printed: beginner, expert, guru (default) or invisible.
' Ends with 0 and the line "Done." when every step succeeded, with 1 when one failed. What it sets it sets back.
'
' The server returns 1 for true, not -1, so conditions are written "If x Then", never "If x = True" or "If Not x".
' Counts are wrapped in CLng, and numbers of 64 bits in CDbl, before they are compared or calculated with.
'
' Run in the tests, by cscript under Wine: ./run test scripts.
Option Explicit

Const AccessControl = 1                ' VexAccessControl
Const TypeInteger = 0                  ' VexGenTypeInteger
Const TypeEnum = 1                     ' VexGenTypeEnum
Const TypeBoolean = 2                  ' VexGenTypeBoolean
Const TypeString = 3                   ' VexGenTypeString
Const TypeCommand = 4                  ' VexGenTypeCommand
Const TypeFloat = 5                    ' VexGenTypeFloat
Const TypeRegister = 6                 ' VexGenTypeRegister
Const LongestValue = 48

Dim address, level
address = "any"
level = 2                              ' VexGenVisibilityGuru
If WScript.Arguments.Count > 0 Then address = WScript.Arguments(0)
If WScript.Arguments.Count > 1 Then level = LevelOf(WScript.Arguments(1))

' ---- connect ----

Dim device, features
If address = "any" Then address = FirstAddress()
If address = "" Then Fail "no camera was found"
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
Require device.ConnectString(address, AccessControl), "connecting to " & address
Set features = device.GenParameters
WScript.Echo "Connected to " & address & ": " & CDbl(features.Count) & " features in " & _
    CDbl(features.CategoryCount) & " categories"

' ---- the tree ----

PrintTree

' ---- one feature of every type ----

WScript.Echo ""
WScript.Echo "Set and read:"
TryInteger Array("Width", "OffsetX")
TryFloat Array("ExposureTime", "ExposureTimeAbs", "Gain")
TryBoolean Array("ReverseX", "AcquisitionFrameRateEnable")
TryCommand Array("TimestampLatch", "GevTimestampControlLatch", "UserSetLoad")
TryString Array("DeviceUserID", "UserText")
TryEnumeration Array("PixelFormat", "AcquisitionMode")
TryRegister Array("UserMemory", "FileAccessBuffer")

' ---- errors ----

ShowErrors

Require device.Disconnect(), "disconnecting"
WScript.Echo "Done."
WScript.Quit 0

' ---- printing ----

Sub PrintTree()
    Dim count, i, parameters, categories
    count = CLng(features.Count)
    If count = 0 Then Fail "the camera describes no features"
    parameters = NewArray(count)
    categories = NewArray(count)
    For i = 0 To count - 1
        Set parameters(i) = features.GetByIndex(i)
        categories(i) = parameters(i).Category
    Next
    PrintCategory features.GetCategoryByName("Root"), "Root", parameters, categories
    For i = 0 To CLng(features.CategoryCount) - 1
        PrintCategory features.GetCategoryByIndex(i), features.GetCategoryByIndex(i).Name, parameters, categories
    Next
End Sub

' A category that shows nothing at this level is passed over.
Sub PrintCategory(category, name, parameters, categories)
    Dim i, titled
    titled = 0
    If category Is Nothing Then Exit Sub
    For i = 0 To UBound(parameters)
        If categories(i) = name Then
            If parameters(i).IsVisible(level) Then
                If titled = 0 Then WScript.Echo category.DisplayName
                titled = 1
                WScript.Echo "    " & LineOf(parameters(i))
            End If
        End If
    Next
End Sub

Function LineOf(parameter)
    LineOf = Padded(parameter.Name, 34) & Padded(KindName(parameter.Type), 13) & Padded(AccessOf(parameter), 4) & _
        ValueOf(parameter)
End Function

Function KindName(kind)
    Dim names
    names = Array("integer", "enumeration", "boolean", "string", "command", "float", "register")
    KindName = "unknown"
    If kind >= TypeInteger And kind <= TypeRegister Then KindName = names(kind)
End Function

' What may be done with it at present: RW, RO, WO, or NA.
Function AccessOf(parameter)
    AccessOf = "NA"
    If parameter.IsReadable Then
        AccessOf = "RO"
        If parameter.IsWritable Then AccessOf = "RW"
    ElseIf parameter.IsWritable Then
        AccessOf = "WO"
    End If
End Function

Function ValueOf(parameter)
    Dim text, result
    ValueOf = ""
    If parameter.Type = TypeCommand Then Exit Function
    If parameter.IsReadable = 0 Then Exit Function
    Set result = parameter.ValueToString(text)
    If result.IsFailure Then
        ValueOf = "(" & result.Description & ")"
        Exit Function
    End If
    If Len(text) > LongestValue Then text = Left(text, LongestValue) & "..."
    ValueOf = text
    If parameter.Type = TypeFloat Then ValueOf = Trim(text & " " & parameter.Unit)
End Function

Function Padded(text, width)
    Padded = text & " "
    If Len(text) < width Then Padded = text & Space(width - Len(text))
End Function

' ---- setting and reading ----

' The first of the names that is a writable feature of the type, or any other writable one; Nothing when there is none.
' Only named commands are executed: any other might restart the camera.
Function Candidate(names, kind)
    Dim name, i, parameter
    Set Candidate = Nothing
    For Each name In names
        Set parameter = features.GetByName(name)
        If IsCandidate(parameter, kind) Then
            Set Candidate = parameter
            Exit Function
        End If
    Next
    If kind <> TypeCommand Then
        For i = 0 To CLng(features.Count) - 1
            Set parameter = features.GetByIndex(i)
            If IsCandidate(parameter, kind) Then
                ' a feature that the description hides is not for users to try
                If parameter.IsVisible(2) Then
                    Set Candidate = parameter
                    Exit Function
                End If
            End If
        Next
    End If
    WScript.Echo "    no " & KindName(kind) & " feature to try"
End Function

Function IsCandidate(parameter, kind)
    IsCandidate = False
    If parameter Is Nothing Then Exit Function
    If parameter.Type <> kind Then Exit Function
    If parameter.IsWritable Then IsCandidate = True
End Function

Sub TryInteger(names)
    Dim parameter, before, other
    Set parameter = Candidate(names, TypeInteger)
    If parameter Is Nothing Then Exit Sub
    before = CDbl(parameter.Value)
    other = CDbl(parameter.Min)
    If other = before Then other = other + CDbl(parameter.Increment)
    If other > CDbl(parameter.Max) Then other = before
    parameter.Value = other
    Expect parameter.Name, CDbl(parameter.Value), other
    Told parameter, before
    parameter.Value = before
End Sub

Sub TryFloat(names)
    Dim parameter, before, other
    Set parameter = Candidate(names, TypeFloat)
    If parameter Is Nothing Then Exit Sub
    before = parameter.Value
    other = before + 1
    If other > parameter.Max Then other = before - 1
    If other < parameter.Min Then other = parameter.Min
    parameter.Value = other
    ' a camera may round to what it can do
    If Abs(parameter.Value - other) > Abs(other) / 100 Then Expect parameter.Name, parameter.Value, other
    Told parameter, before
    parameter.Value = before
End Sub

Sub TryBoolean(names)
    Dim parameter, before
    Set parameter = Candidate(names, TypeBoolean)
    If parameter Is Nothing Then Exit Sub
    before = CInt(parameter.Value)
    parameter.Value = (before = 0)
    Expect parameter.Name, CInt(parameter.Value), 1 - before
    Told parameter, before
    parameter.Value = before
End Sub

Sub TryCommand(names)
    Dim parameter, tries
    Set parameter = Candidate(names, TypeCommand)
    If parameter Is Nothing Then Exit Sub
    Require parameter.Execute(), "executing " & parameter.Name
    For tries = 1 To 100
        If parameter.IsDone Then Exit For
        WScript.Sleep 20
    Next
    If parameter.IsDone = 0 Then Fail parameter.Name & " does not end"
    WScript.Echo "    " & Padded(parameter.Name, 34) & Padded("command", 13) & "executed"
End Sub

Sub TryString(names)
    Dim parameter, before
    Set parameter = Candidate(names, TypeString)
    If parameter Is Nothing Then Exit Sub
    before = parameter.Value
    parameter.Value = Left("by script", CLng(parameter.MaxLength))
    Expect parameter.Name, parameter.Value, Left("by script", CLng(parameter.MaxLength))
    Told parameter, before
    parameter.Value = before
    Expect parameter.Name, parameter.Value, before
End Sub

Sub TryEnumeration(names)
    Dim parameter, before, i, entry, entries
    Set parameter = Candidate(names, TypeEnum)
    If parameter Is Nothing Then Exit Sub
    before = parameter.ValueStr
    entries = ""
    For i = 0 To CLng(parameter.EntriesCount) - 1
        ' every look-up gives the same entry object, so what is needed of an entry is read before the next look-up
        Require parameter.GetEntryByIndex(i, entry), "looking up entry " & i
        If entry.IsAvailable Then entries = entries & entry.Name & " "
    Next
    For Each entry In Split(Trim(entries), " ")
        If entry <> before Then
            parameter.ValueStr = entry
            Expect parameter.Name, parameter.ValueStr, entry
            Exit For
        End If
    Next
    Told parameter, before
    WScript.Echo "        one of " & Trim(entries)
    parameter.ValueStr = before
End Sub

Sub TryRegister(names)
    Dim parameter, length, before, other, again, i
    Set parameter = Candidate(names, TypeRegister)
    If parameter Is Nothing Then Exit Sub
    length = CLng(parameter.Length)
    before = NewArray(length)
    other = NewArray(length)
    again = NewArray(length)
    For i = 0 To length - 1
        before(i) = 0
        again(i) = 0
        other(i) = i Mod 256
    Next
    Require parameter.Get(before), "reading " & parameter.Name
    Require parameter.Set(other), "writing " & parameter.Name
    Require parameter.Get(again), "reading " & parameter.Name
    For i = 0 To length - 1
        Expect "byte " & i & " of " & parameter.Name, again(i), other(i)
    Next
    Told parameter, length & " bytes"
    Require parameter.Set(before), "writing " & parameter.Name
End Sub

Sub Told(parameter, before)
    WScript.Echo "    " & Padded(parameter.Name, 34) & Padded(KindName(parameter.Type), 13) & before & " -> " & _
        ValueOf(parameter)
End Sub

' ---- errors ----

' A property that cannot be set raises an error with the reason; a method with a result tells it there.
Sub ShowErrors()
    Dim parameter, tooMuch, number, source, text, result
    WScript.Echo ""
    WScript.Echo "Errors:"
    Set parameter = features.GetInteger("Width")
    If parameter Is Nothing Then Fail "the camera has no Width"
    tooMuch = CDbl(parameter.Max) + CDbl(parameter.Increment)
    On Error Resume Next
    parameter.Value = tooMuch
    number = Err.Number
    source = Err.Source
    text = Err.Description
    On Error GoTo 0
    If number = 0 Then Fail "a Width of " & tooMuch & " was taken"
    WScript.Echo "    " & source & ": " & text
    Expect "the last error of Width", parameter.LastErrorMsg, text
    Set result = features.SetIntegerValue("Width", tooMuch)
    If result.IsOK Then Fail "a Width of " & tooMuch & " was taken"
    WScript.Echo "    code " & result.Code & ": " & result.Description
    Expect "the result's text", result.Description, text
    Set result = features.SetIntegerValue("NoSuchFeature", 1)
    If result.IsOK Then Fail "a feature that there is not was set"
    WScript.Echo "    code " & result.Code & ": " & result.Description
End Sub

' ---- helpers ----

' An array of `count` elements.
Function NewArray(count)
    NewArray = Array(0)
    If count > 1 Then NewArray = Split(Space(count - 1), " ")
End Function

Function LevelOf(name)
    Dim i, names
    names = Array("beginner", "expert", "guru", "invisible")
    For i = 0 To 3
        If LCase(name) = names(i) Then
            LevelOf = i
            Exit Function
        End If
    Next
    Fail "there is no user level """ & name & """"
End Function

Function FirstAddress()
    Dim system, i
    FirstAddress = ""
    Set system = CreateObject("VexKamCOMWrapper.VexSystem")
    Require system.Find(), "searching for cameras"
    For i = 0 To CLng(system.InterfaceCount) - 1
        If CDbl(system.GetInterface(i).DeviceCount) > 0 Then
            FirstAddress = system.GetInterface(i).GetDeviceInfo(0).IPAddress
            Exit Function
        End If
    Next
End Function

Sub Expect(what, found, wanted)
    If CStr(found) <> CStr(wanted) Then Fail what & " is " & CStr(found) & ", not " & CStr(wanted)
End Sub

' Ends the script when an operation did not succeed.
Sub Require(result, what)
    If result.IsOK Then Exit Sub
    Fail what & ": " & result.Description & " (code " & result.Code & ")"
End Sub

Sub Fail(text)
    WScript.Echo "Failed: " & text
    WScript.Quit 1
End Sub
