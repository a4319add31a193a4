' Features as scripts use them: every kind is looked up, read and set, values go by name, lists and categories are walked,
' and what fails says why.
'
'   cscript features.vbs FOLDER IP-ADDRESS
'
' FOLDER is not used. IP-ADDRESS is a software camera's.
Option Explicit

Const AccessControl = 1                ' VexAccessControl
Const LevelBeginner = 0                ' VexGenVisibilityBeginner
Const LevelGuru = 2                    ' VexGenVisibilityGuru

Dim address, device, features
address = WScript.Arguments(1)
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
Expect "features before a connection", device.GenParameters Is Nothing, True
Require device.ConnectString(address, AccessControl), "connecting"
Set features = device.GenParameters
Expect "whether the features are one object", device.GenParameters Is features, True

' ---- looking up ----

Dim width, again
Set width = features.GetInteger("Width")
Set again = features.GetByName("Width")
Expect "whether a name gives one object", again Is width, True
Expect "whether an index gives another", ByIndex("Width") Is width, False
Expect "a float asked for as an integer", features.GetInteger("ExposureTime") Is Nothing, True
Expect "a name that there is not", features.GetByName("NoSuchFeature") Is Nothing, True
Expect "an index that there is not", features.GetByIndex(features.Count) Is Nothing, True
Expect "category", width.Category, "ImageFormatControl"
Expect "type", width.Type, 0
Expect "readable", CInt(width.IsReadable), 1
Expect "writable", CInt(width.IsWritable), 1
Expect "visible to beginners", CInt(features.GetByName("UserMemory").IsVisible(LevelBeginner)), 0
Expect "visible to gurus", CInt(features.GetByName("UserMemory").IsVisible(LevelGuru)), 1

' ---- every kind, as objects ----

Dim maximum, exposure, reverse, latch, text, format, memory
maximum = CDbl(width.Max)
width.Value = 320
Expect "Width", CDbl(width.Value), 320
Set exposure = features.GetFloat("ExposureTime")
exposure.Value = 2500
Expect "ExposureTime", exposure.Value, 2500
Expect "unit of ExposureTime", exposure.Unit, "us"
Set reverse = features.GetBoolean("ReverseX")
reverse.Value = True
Expect "ReverseX", CInt(reverse.Value), 1
reverse.Value = False
Expect "ReverseX", CInt(reverse.Value), 0
Set latch = features.GetCommand("GevTimestampControlLatch")
Require latch.Execute(), "latching the timestamp"
Expect "whether the latch is done", CInt(latch.IsDone), 1
Set text = features.GetString("UserText")
text.Value = "by script"
Expect "UserText", text.Value, "by script"
text.Value = vbNullString
Expect "UserText set to nothing", text.Value, ""
Set format = features.GetEnum("PixelFormat")
format.ValueStr = "Mono16"
Expect "PixelFormat", format.ValueStr, "Mono16"
Dim number
number = CDbl(format.ValueInt)
format.ValueStr = "Mono8"
format.ValueInt = number
Expect "PixelFormat by number", format.ValueStr, "Mono16"
format.ValueStr = "Mono8"

Dim entry, other, ignored
Require format.GetEntryByName("Mono16", entry), "looking up an entry"
Expect "number of the entry", CDbl(entry.Value), number
Require format.GetEntryByName("Mono8", other), "looking up an entry"
Expect "whether there is one entry object", other Is entry, True
Expect "what it shows", entry.Name, "Mono8"
Expect "available", CInt(entry.IsAvailable), 1
ExpectFailure format.GetEntryByName("Mono7", ignored), "looking up no entry"
Expect "an entry that there is not", ignored Is Nothing, True

Set memory = features.GetRegister("UserMemory")
Dim length, bytes(255), read(255), i
length = CLng(CDbl(memory.Length))
Expect "length of the register", length, 256
For i = 0 To length - 1
    bytes(i) = (i * 7) Mod 256
    read(i) = 0
Next
Require memory.Set(bytes), "writing the register"
Require memory.Get(read), "reading the register"
For i = 0 To length - 1
    Expect "byte " & i, read(i), bytes(i)
Next

' ---- values by name ----

Dim value
Require features.SetIntegerValue("Width", 640), "setting Width"
Require features.GetIntegerValue("Width", value), "reading Width"
Expect "Width by name", CDbl(value), 640
Require features.SetFloatValue("ExposureTime", 5000), "setting ExposureTime"
Require features.GetFloatValue("ExposureTime", value), "reading ExposureTime"
Expect "ExposureTime by name", value, 5000
Require features.SetBooleanValue("ReverseX", True), "setting ReverseX"
Require features.GetBooleanValue("ReverseX", value), "reading ReverseX"
Expect "ReverseX by name", CInt(value), 1
Require features.SetBooleanValue("ReverseX", False), "setting ReverseX"
Require features.SetEnumValueStr("PixelFormat", "BayerRG8"), "setting PixelFormat"
Require features.GetEnumValueStr("PixelFormat", value), "reading PixelFormat"
Expect "PixelFormat by name", value, "BayerRG8"
Require features.GetEnumValueInt("PixelFormat", value), "reading PixelFormat"
Require features.SetEnumValueInt("PixelFormat", value), "setting PixelFormat"
Require features.SetEnumValueStr("PixelFormat", "Mono8"), "setting PixelFormat"
Require features.SetStringValue("UserText", "named"), "setting UserText"
Require features.GetStringValue("UserText", value), "reading UserText"
Expect "UserText by name", value, "named"
Require features.ExecuteCommand("GevTimestampControlLatch"), "executing by name"
ExpectFailure features.GetEnumValueStr("NoSuchFeature", value), "reading what there is not"
Expect "a value that there is not", value, ""
Require width.ValueToString(value), "Width as text"
Expect "Width as text", value, "640"
Require width.ValueFromString("320"), "Width from text"
Expect "Width from text", CDbl(width.Value), 320

' ---- selectors, lists, categories ----

Dim selector, selected
Set selector = features.GetByName("UserDefinedValueSelector")
Expect "selector", CInt(selector.IsSelector), 1
Set selected = selector.SelectedParameters
Expect "selected parameters", CDbl(selected.Size), 1
Expect "selected parameter", selected.GetItem(0).Name, "UserDefinedValue"
Expect "whether the list is one object", selector.SelectedParameters Is selected, True
Expect "selecting parameter", features.GetByName("UserDefinedValue").SelectingParameters.GetItem(0).Name, _
    "UserDefinedValueSelector"
Dim list, walked
Set list = CreateObject("VexKamCOMWrapper.VexGenParameterList")
Expect "first of nothing", list.GetFirst() Is Nothing, True
list.Add width
list.Add exposure
Set walked = list.GetFirst()
Expect "first", walked.Name, "Width"
Expect "whether a walk gives a new object", walked Is width, False
Expect "next", list.GetNext().Name, "ExposureTime"
Expect "after the last", list.GetNext() Is Nothing, True
Expect "beyond the last", list.GetItem(2) Is Nothing, True
Dim category
Set category = features.GetCategoryByName("ImageFormatControl")
Expect "display name", category.DisplayName, "Image Format Control"
Expect "whether a category is one object", features.GetCategoryByName("ImageFormatControl") Is category, True

' ---- what fails says why ----

On Error Resume Next
width.Value = maximum + 1
Expect "source", Err.Source, "VexKamCOMWrapper.VexGenInteger.1"
Expect "text", Err.Description, "Width: " & (maximum + 1) & " is above its maximum of " & maximum
On Error GoTo 0
Expect "last error", width.LastErrorMsg, "Width: " & (maximum + 1) & " is above its maximum of " & maximum
Require features.SetIntegerValue("TLParamsLocked", 1), "locking"
ExpectFailure features.SetIntegerValue("Width", 400), "setting what is locked"
Expect "text of the lock", features.SetIntegerValue("Width", 400).Description, _
    "Width is locked while the acquisition runs"
Require features.SetIntegerValue("TLParamsLocked", 0), "unlocking"

Require device.Disconnect(), "disconnecting"
Expect "text without a connection", features.SetIntegerValue("Width", 400).Description, _
    "Width is not available: the device is not connected"
WScript.Echo "Done."
WScript.Quit 0

Function ByIndex(name)
    Dim i
    For i = 0 To CLng(CDbl(features.Count)) - 1
        Set ByIndex = features.GetByIndex(i)
        If ByIndex.Name = name Then Exit Function
    Next
    Fail name & " has no index"
End Function

Sub Expect(what, found, wanted)
    If CStr(found) <> CStr(wanted) Then Fail what & " is " & CStr(found) & ", not " & CStr(wanted)
End Sub

Sub Require(result, what)
    If result.IsOK Then Exit Sub
    Fail what & ": " & result.Description
End Sub

Sub ExpectFailure(result, what)
    If result.IsFailure Then
        WScript.Echo "Refused as it should be: " & what & ": " & result.Description
        Exit Sub
    End If
    Fail what & " succeeded"
End Sub

Sub Fail(message)
    WScript.Echo "Failed: " & message
    WScript.Quit 1
End Sub
