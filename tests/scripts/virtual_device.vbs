' A virtual device as scripts use it: it is found, connected, read, and gone after the stop.
'
'   cscript virtual_device.vbs FOLDER IP-ADDRESS
'
' The arguments are not used: the device listens on 127.0.0.1.
Option Explicit

Const AccessControl = 1                ' VexAccessControl
Const StateError = 28                  ' VexStateError
Const NotFound = 25                    ' VexNotFound
Const Where = "127.0.0.1"

Dim device, result, client, features
Set device = CreateObject("VexKamCOMWrapper.VexVirtualDevice")
device.StopListening
Set result = device.StartListening("no such interface")
Expect "code of an unknown interface", CLng(result.Code), NotFound
Expect "whether its description names it", InStr(result.Description, "no such interface") > 0, True

Require device.StartListening(Where), "listening"
Set result = device.StartListening(Where)
Expect "code of a second start", CLng(result.Code), StateError
device.StopListening
Set result = device.StartListening(Where)
Require result, "listening again"
Expect "whether the description names the address", InStr(result.Description, Where) > 0, True

Set client = CreateObject("VexKamCOMWrapper.VexDevice")
Require client.ConnectString(Where, AccessControl), "connecting"
Set features = client.GenParameters
Expect "DeviceModelName", features.GetString("DeviceModelName").Value, "Virtual Device"
Expect "Width", CDbl(features.GetInteger("Width").Value), 640
Expect "PayloadSize", CDbl(features.GetInteger("PayloadSize").Value), 307200
features.GetString("DeviceUserID").Value = "mine"
Expect "DeviceUserID", features.GetString("DeviceUserID").Value, "mine"
client.Disconnect
device.StopListening
device.StopListening
Expect "whether it still answers", CInt(client.ConnectString(Where, AccessControl).IsOK), 0

WScript.Echo "Done."
WScript.Quit 0

Sub Expect(what, found, wanted)
    If CStr(found) <> CStr(wanted) Then Fail what & " is " & CStr(found) & ", not " & CStr(wanted)
End Sub

Sub Require(result, what)
    If result.IsOK Then Exit Sub
    Fail what & ": " & result.Description
End Sub

Sub Fail(message)
    WScript.Echo "Failed: " & message
    WScript.Quit 1
End Sub
