' Files of a camera: read and written in arrays and from local files, and what is refused.
'
'   cscript files.vbs FOLDER IP-ADDRESS
Option Explicit

Const AccessControl = 1                ' VexAccessControl
Const ForWriting = 0                   ' VexGenOpenModeWrite
Const ForReading = 1                   ' VexGenOpenModeRead
Const Undefined = 999                  ' VexGenOpenModeUndefined
Const OK = 0                           ' VexOK
Const CannotOpenFile = 6               ' VexCannotOpenFile
Const FileError = 16                   ' VexFileError
Const NotConnected = &H17              ' VexNotConnected
Const NotFound = &H19                  ' VexNotFound
Const NotSupported = &H1A              ' VexNotSupported
Const StateError = &H1C                ' VexStateError
Const InvalidParameter = &H4001        ' VexInvalidParameter
Const Raised = &H80020009              ' DISP_E_EXCEPTION

Dim device, features, file, files, local, count, i
local = WScript.Arguments(0) & "\camera-file"
Set files = CreateObject("Scripting.FileSystemObject")
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
ExpectCode "connecting", device.ConnectString(WScript.Arguments(1), AccessControl), OK
Set features = device.GenParameters
Set file = CreateObject("VexKamCOMWrapper.VexGenFile")

' ---- what is refused before anything is open ----

Expect "files of the features", CInt(file.IsSupported(features)), 1
Expect "files of the link", CInt(file.IsSupported(device.GenLink)), 0
Expect "open", CInt(file.IsOpened), 0
Expect "last error", file.LastErrorMessage, ""
On Error Resume Next
i = file.Status
Expect "number", Hex(Err.Number), Hex(Raised)
Expect "source", Err.Source, "VexKamCOMWrapper.VexGenFile.1"
Expect "description", Err.Description, "No file is open"
On Error GoTo 0
Expect "last error", file.LastErrorMessage, "No file is open"
ExpectCode "opening in no mode", file.Open(features, "UserSet1", Undefined), InvalidParameter
ExpectCode "opening what is not there", file.Open(features, "Nothing", ForReading), NotFound
ExpectCode "opening a file of the link", file.Open(device.GenLink, "UserSet1", ForReading), NotSupported
ExpectCode "opening firmware for reading", file.Open(features, "Firmware", ForReading), FileError
Expect "last error", file.LastErrorMessage, "Firmware cannot be opened: the device reports Failure"
ExpectCode "closing nothing", file.Close(), OK

' ---- bytes ----

Dim bytes(8191), got(8999)
For i = 0 To 8191
    bytes(i) = i Mod 251
Next
For i = 0 To 8999
    got(i) = 0
Next
ExpectCode "opening", file.Open(features, "LUTLuminance", ForWriting), OK
Expect "open", CInt(file.IsOpened), 1
ExpectCode "opening twice", file.Open(features, "UserSet1", ForReading), StateError
ExpectCode "reading what is open for writing", file.Read(got, 10, count), StateError
ExpectCode "a negative length", file.Write(bytes, -1, count), InvalidParameter
Expect "count", CStr(count), "0"
ExpectCode "writing", file.Write(bytes, 8192, count), OK
Expect "count", CStr(count), "8192"
Expect "status", file.Status, "Success"
ExpectCode "closing", file.Close(), OK
ExpectCode "opening", file.Open(features, "LUTLuminance", ForReading), OK
ExpectCode "writing what is open for reading", file.Write(bytes, 10, count), StateError
ExpectCode "reading", file.Read(got, 100000, count), OK
Expect "count", CStr(count), "8192"
For i = 0 To 8191
    If CInt(got(i)) <> i Mod 251 Then Fail "byte " & i & " is " & got(i)
Next
Expect "what is behind the end", CInt(got(8192)), 0

' ---- local files ----

ExpectCode "storing", file.ReadTo(local), OK
Expect "size", CStr(files.GetFile(local).Size), "8192"
ExpectCode "storing in a folder that is not there", file.ReadTo(WScript.Arguments(0) & "\none\file"), CannotOpenFile
Set file = Nothing
Set file = CreateObject("VexKamCOMWrapper.VexGenFile")
ExpectCode "opening what was released", file.Open(features, "LUTLuminance", ForWriting), OK
ExpectCode "sending", file.WriteFrom(local), OK
ExpectCode "closing", file.Close(), OK
ExpectCode "opening the user's file", file.Open(features, "UserFile", ForWriting), OK
ExpectCode "sending bytes", file.Write(bytes, 10, count), OK
ExpectCode "closing", file.Close(), OK
ExpectCode "opening the user's file", file.Open(features, "UserFile", ForWriting), OK
files.CreateTextFile(local & "-empty", True).Close
ExpectCode "sending an empty file", file.WriteFrom(local & "-empty"), OK
files.DeleteFile local & "-empty"
ExpectCode "sending what is not there", file.WriteFrom(local & "-empty"), CannotOpenFile
ExpectCode "closing", file.Close(), OK
ExpectCode "opening the user's file", file.Open(features, "UserFile", ForReading), OK
ExpectCode "a negative length", file.Read(got, -1, count), InvalidParameter
ExpectCode "reading", file.Read(got, 10, count), OK
Expect "count", CStr(count), "0"

' ---- a device that goes while its file is open ----

ExpectCode "disconnecting", device.Disconnect(), OK
ExpectCode "reading", file.Read(got, 10, count), NotConnected
ExpectCode "storing", file.ReadTo(local), NotConnected
Expect "size of the older file", CStr(files.GetFile(local).Size), "8192"
files.DeleteFile local
Set features = Nothing
Set device = Nothing
Expect "open", CInt(file.IsOpened), 0
count = -7
ExpectCode "reading", file.Read(got, 10, count), StateError
Expect "count", CStr(count), "0"
Expect "last error", file.LastErrorMessage, "The features that UserFile was opened through are gone"
ExpectCode "closing", file.Close(), OK
WScript.Echo "Done."
WScript.Quit 0

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
