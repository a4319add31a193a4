' Configuration: saves the set-up of a camera to a file, changes it, and brings it back.
'
'   cscript configuration.vbs FILE [IP-ADDRESS]
'
' IP-ADDRESS picks a camera (default, or "any": the first one found).
' Ends with 0 and the line "Done." when every step succeeded, with 1 when one failed.
'
' Run in the tests, by cscript under Wine: ./run test scripts.
Option Explicit

Const AccessControl = 1                ' VexAccessControl

Dim file_name, address
If WScript.Arguments.Count = 0 Then Fail "no file was named"
file_name = WScript.Arguments(0)
address = "any"
If WScript.Arguments.Count > 1 Then address = WScript.Arguments(1)
If address = "any" Then address = FirstAddress()
If address = "" Then Fail "no camera was found"

Dim device, stream, features, width, least, restored
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
Require device.ConnectString(address, AccessControl), "connecting to " & address
Set stream = CreateObject("VexKamCOMWrapper.VexStream")
Set features = device.GenParameters
Require features.GetIntegerValue("Width", width), "reading Width"
WScript.Echo "Connected to " & address & ": Width is " & CDbl(width)

' ---- save ----

Dim writer
Set writer = CreateObject("VexKamCOMWrapper.VexConfigurationWriter")
Require writer.StoreDbyN(device, "Camera"), "storing the camera"
Require writer.StoreSbyN(stream, "Stream"), "storing the stream's settings"
Require writer.StoreWbyN("Taken at " & Now, "Note"), "storing a note"   ' the value comes first
Require writer.Save(file_name), "saving"
WScript.Echo "Saved to " & file_name

' ---- change ----

Dim parameter
Set parameter = features.GetInteger("Width")
least = parameter.Min
Require features.SetIntegerValue("Width", least), "setting Width"
WScript.Echo "Width is now " & CDbl(least)

' ---- bring back ----

Dim reader, errors, note, line
Set reader = CreateObject("VexKamCOMWrapper.VexConfigurationReader")
Set errors = CreateObject("VexKamCOMWrapper.VexStringList")
Require reader.Load(file_name), "loading"
WScript.Echo "The file has " & CDbl(reader.DeviceCount) & " camera and " & CDbl(reader.StreamCount) & " stream"
If reader.RestoreWbyN("Note", note).IsOK Then WScript.Echo "Note: " & note
' what cannot be set is in the list, a line each; the rest is set
reader.SetErrorList errors, "Camera"
Set restored = reader.RestoreDbyN("Camera", device)
For Each line In errors
    WScript.Echo line
Next
Require restored, "restoring the camera"
Require reader.RestoreSbyN("Stream", stream), "restoring the stream's settings"
Require features.GetIntegerValue("Width", restored), "reading Width"
WScript.Echo "Width is " & CDbl(restored) & " again"
If CDbl(restored) <> CDbl(width) Then Fail "Width was not restored"

Require device.Disconnect(), "disconnecting"
WScript.Echo "Done."
WScript.Quit 0

Sub Require(result, step)
    If result.IsOK Then Exit Sub
    Fail step & ": " & result.Description
End Sub

Sub Fail(text)
    WScript.Echo "Failed: " & text
    WScript.Quit 1
End Sub

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
