' Configuration files: texts, property lists, a camera, its link and a stream saved and brought back, and what is refused.
'
'   cscript configuration.vbs FOLDER IP-ADDRESS
Option Explicit

Const AccessControl = 1                ' VexAccessControl
Const OK = 0                           ' VexOK
Const NotFound = &H19                  ' VexNotFound
Const CannotOpenFile = 6               ' VexCannotOpenFile
Const BadVersion = &H201               ' VexBadVersion
Const InvalidDataFormat = &H501        ' VexInvalidDataFormat
Const GenericError = &H4000            ' VexGenericError
Const PointerWrong = &H80004003        ' E_POINTER

Dim file_name, files, writer, reader, value
file_name = WScript.Arguments(0) & "\configuration-test.xml"
Set files = CreateObject("Scripting.FileSystemObject")
Set writer = CreateObject("VexKamCOMWrapper.VexConfigurationWriter")
Set reader = CreateObject("VexKamCOMWrapper.VexConfigurationReader")

' ---- before anything was loaded ----

Expect "the number of devices", CStr(reader.DeviceCount), "0"
value = "as it was"
ExpectCode "a name before a file was loaded", reader.GetDeviceName(0, value), NotFound
Expect "the name", value, ""

' ---- texts and property lists ----

Dim list, item
ExpectCode "storing a text", writer.StoreWbyN("the value", "the name"), OK
ExpectCode "storing it again", writer.StoreWbyN("another value", "the name"), OK
ExpectCode "storing an odd text", writer.StoreWbyN(" a" & vbCrLf & Chr(1), "odd"), OK
Set list = CreateObject("VexKamCOMWrapper.VexPropertyList")
Set item = CreateObject("VexKamCOMWrapper.VexProperty")
item.Name = "one"
item.ValueDouble = 0.1
list.Add item
ExpectCode "storing a property list", writer.StorePLbyN(list, "list"), OK

' ---- a camera ----

Dim device, stream, features, link
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
Set stream = CreateObject("VexKamCOMWrapper.VexStream")
ExpectCode "connecting", device.ConnectString(WScript.Arguments(1), AccessControl), OK
Set features = device.GenParameters
Set link = device.GenLink
ExpectCode "setting Width", features.SetIntegerValue("Width", 320), OK
ExpectCode "storing the device", writer.StoreDbyN(device, "camera"), OK
ExpectCode "storing the stream", writer.StoreSbyN(stream, "stream"), OK
ExpectCode "storing the link", writer.StoreGPbyN(link, "link"), OK
ExpectCode "changing Width", features.SetIntegerValue("Width", 64), OK
list.Clear
ExpectCode "saving", writer.Save(file_name), OK

' ---- back again ----

ExpectCode "loading", reader.Load(file_name), OK
Expect "how many there are", CStr(reader.DeviceCount) & CStr(reader.StreamCount) & CStr(reader.StringCount) & _
    CStr(reader.GenParameterArrayCount) & CStr(reader.PropertyListCount), "11211"
ExpectCode "a text", reader.RestoreWbyN("the name", value), OK
Expect "the text", value, "another value"
ExpectCode "the odd text", reader.RestoreWbyI(1, value), OK
Expect "the odd text", value, " a" & vbCrLf & Chr(1)
ExpectCode "a text that is not there", reader.RestoreWbyN("no name", value), NotFound
Expect "a text that is not there", value, ""
ExpectCode "the name of the list", reader.GetPropertyListName(0, value), OK
Expect "the name of the list", value, "list"
ExpectCode "the list", reader.RestorePLbyN("list", list), OK
Expect "the list's item", list.GetItem(0).Name & "=" & list.GetItem(0).Value, "one=0.1"
ExpectCode "the device", reader.RestoreDbyN("camera", device), OK
ExpectCode "reading Width", features.GetIntegerValue("Width", value), OK
Expect "Width", CStr(value), "320"
ExpectCode "the stream", reader.RestoreSbyI(0, stream), OK
ExpectCode "the link", reader.RestoreGPbyN("link", link), OK

' ---- what cannot be restored ----

Dim errors
Set errors = CreateObject("VexKamCOMWrapper.VexStringList")
Write "<configuration version='1'><parameters name='p'><feature name='Unknown' value='1'/></parameters></configuration>"
ExpectCode "loading", reader.Load(file_name), OK
reader.SetErrorList errors, "camera"
ExpectCode "restoring", reader.RestoreGPbyN("p", features), GenericError
Expect "the error", errors.GetItem(0), "camera: Unknown = 1: There is no parameter named ""Unknown"""
Set errors = Nothing
ExpectCode "restoring without the list", reader.RestoreGPbyN("p", features), GenericError

Write "<configuration version='2'/>"
ExpectCode "a later version", reader.Load(file_name), BadVersion
Write "<configuration version='1'>"
ExpectCode "a damaged file", reader.Load(file_name), InvalidDataFormat
files.DeleteFile file_name
ExpectCode "no file", reader.Load(file_name), CannotOpenFile
Expect "what was loaded before", CStr(reader.GenParameterArrayCount), "1"
ExpectCode "a folder that is not there", writer.Save(WScript.Arguments(0) & "\none\file"), CannotOpenFile

On Error Resume Next
writer.StoreDbyN Nothing, "nothing"
Expect "storing nothing", Hex(Err.Number), Hex(PointerWrong)
On Error GoTo 0

ExpectCode "disconnecting", device.Disconnect(), OK
WScript.Echo "Done."
WScript.Quit 0

Sub Write(text)
    Dim out
    Set out = files.CreateTextFile(file_name, True)
    out.Write text
    out.Close
End Sub

Sub Expect(what, found, wanted)
    If CStr(found) = CStr(wanted) Then Exit Sub
    Fail what & " is '" & found & "', not '" & wanted & "'"
End Sub

Sub ExpectCode(what, result, wanted)
    If CLng(result.Code) = wanted Then Exit Sub
    Fail what & " ended with " & Hex(result.Code) & " (" & result.Description & ")"
End Sub

Sub Fail(what)
    WScript.Echo "Failed: " & what
    WScript.Quit 1
End Sub
