' The serial bridge manager without its window: ports, saving and loading, errors, two managers on one device.
'
'   cscript bridge_manager.vbs FOLDER IP-ADDRESS
'
' FOLDER is not used. The software camera is at IP-ADDRESS.
Option Explicit

Const AccessControl = 1
Const NotFound = &H19
Const StateError = &H1C
Const PointerWrong = &H80004003       ' E_POINTER

Dim device, manager, other, settings, errors, again, result

Set device = CreateObject("VexKamCOMWrapper.VexDevice")
Set manager = CreateObject("VexKamCOMWrapper.VexSerialBridgeManager")
Set other = CreateObject("VexKamCOMWrapper.VexSerialBridgeManager")
Set settings = CreateObject("VexKamCOMWrapper.VexPropertyList")

' ---- without a device ----

Expect "the ports", manager.PortCount, 0
Expect "the name of no port", manager.GetPortName(0), ""
Expect "the name of no parameters", manager.GetGenParameterArrayName(0), ""
If Not manager.GetGenParameterArray(0) Is Nothing Then Fail "there are parameters"
ExpectFailure "recovering", manager.Recover, StateError, "no device"
Set result = manager.Load(settings, errors)
ExpectFailure "loading", result, StateError, "no device"
Expect "the errors", errors.Size, 1
Expect "the error", errors.GetItem(0), result.Description

' ---- with one ----

ExpectOK "connecting", device.ConnectString(WScript.Arguments(1), AccessControl)
ExpectOK "setting the device", manager.SetDevice(device)
Expect "the ports", manager.PortCount, 3
Expect "the first port", manager.GetPortName(0), "Serial0"
Expect "the last port", manager.GetPortName(2), "Bulk0"
Expect "the port past the last one", manager.GetPortName(3), ""

Add "SerialBridge.Serial0.Endpoint", "tcp:0"
Add "SerialBridge.Serial0.BaudRate", "57600"
Add "SerialBridge.Serial0.Running", "1"
Add "SerialBridge.Bulk6.Running", "1"
Set result = manager.Load(settings, again)
ExpectFailure "loading for another device", result, NotFound, "Bulk6"
If Not IsSame(again, errors) Then Fail "there are two lists of errors"
Expect "the errors", errors.Size, 1
Expect "the error", errors.GetItem(0), "Bulk6: The device has no such serial port"
Expect "the device's rate", Rate(0), 57600

' ---- saving ----

Set settings = CreateObject("VexKamCOMWrapper.VexPropertyList")
ExpectOK "saving", manager.Save(settings)
Expect "whether it runs", Value("SerialBridge.Serial0.Running"), "1"
Expect "where it leads", Value("SerialBridge.Serial0.Endpoint"), "tcp:0"
Expect "whether another one runs", Value("SerialBridge.Serial1.Running"), "0"

ExpectOK "recovering", manager.Recover
ExpectOK "setting the device of another manager", other.SetDevice(device)
ExpectFailure "loading what another one has", other.Load(settings, errors), StateError, "is open already"
Set manager = Nothing
ExpectOK "loading once it has gone", other.Load(settings, errors)
Expect "the errors", errors.Size, 0

On Error Resume Next
other.Save Nothing
Expect "saving to nothing", Hex(Err.Number), Hex(PointerWrong)
On Error GoTo 0

Set other = Nothing
ExpectOK "disconnecting", device.Disconnect

WScript.Echo "Done."
WScript.Quit 0

Sub Add(name, text)
    Dim item
    Set item = CreateObject("VexKamCOMWrapper.VexProperty")
    item.Name = name
    item.Value = text
    settings.Add item
End Sub

Function Value(name)
    Dim index
    Value = "(none)"
    For index = 0 To CLng(settings.Size) - 1
        If settings.GetItem(index).Name = name Then Value = settings.GetItem(index).Value
    Next
End Function

Function Rate(port)
    Dim found
    ExpectOK "reading the device's rate", _
        device.GenParameters.GetIntegerValue("IPEngineSerial" & port & "BaudRate", found)
    Rate = found
End Function

Function IsSame(a, b)
    IsSame = False
    If a Is b Then IsSame = True
End Function

Sub ExpectOK(what, result)
    If result.IsOK Then Exit Sub
    Fail what & ": " & result.Description
End Sub

Sub ExpectFailure(what, result, code, words)
    If result.IsOK Then Fail what & " succeeded"
    Expect "the code of " & what, result.Code, code
    If InStr(result.Description, words) = 0 Then Fail what & " says '" & result.Description & "'"
End Sub

Sub Expect(what, found, wanted)
    If CStr(found) = CStr(wanted) Then Exit Sub
    Fail what & " is '" & found & "', not '" & wanted & "'"
End Sub

Sub Fail(what)
    WScript.Echo "Failed: " & what
    WScript.Quit 1
End Sub
