' Camera Link arrays without a camera: what they tell by themselves, and what is refused.
'
'   cscript camera_link.vbs FOLDER IP-ADDRESS
'
' The arguments are not used.
Option Explicit

Const OK = 0                           ' VexOK
Const NotConnected = &H17              ' VexNotConnected
Const NotFound = &H19                  ' VexNotFound
Const InvalidParameter = &H4001        ' VexInvalidParameter

Dim cl, list, ports, timeout, value

Set cl = CreateObject("VexKamCOMWrapper.VexGenParameterArrayCL")
Expect "the parameters at first", CLng(cl.Count), 0
Expect "the device at first", cl.DeviceID, ""
Expect "the port at first", cl.PortID, ""
Expect "the description at first", cl.XMLID, ""

Set list = cl.DeviceTemplates
Expect "the first template", list.GetItem(0), "GenCP"
Set ports = cl.PortIDs
Expect "the ports, which are the templates", CLng(ports.Size), CLng(list.Size)
Expect "the first port", ports.GetItem(0), "GenCP"

ExpectCode "asking for the time-out", cl.GetSerialTimeout(timeout), OK
Expect "the time-out", CLng(timeout), 1000
ExpectCode "a time-out", cl.SetSerialTimeout(2500), OK
ExpectCode "no time at all", cl.SetSerialTimeout(0), InvalidParameter
ExpectCode "asking again", cl.GetSerialTimeout(timeout), OK
Expect "the time-out that was set", CLng(timeout), 2500

ExpectCode "the descriptions", cl.GetXMLIDs(list), OK
ExpectCode "the camera's description without a camera", cl.Build("Device"), NotConnected
ExpectCode "a description that there is not", cl.Build("no such file.xml"), NotFound
Expect "the description after that", cl.XMLID, ""

Expect "probing a port that there is not", cl.ProbeDevice("COM250", "GenCP", 100), ""
ExpectCode "a port that there is not", cl.Connect("COM250", "GenCP"), NotFound
ExpectCode "a device that is none", cl.Connect("COM250", "GenCP:fast"), InvalidParameter
ExpectCode "a template that there is not", cl.Connect("COM250", "no such template"), NotFound
ExpectCode "a pipe that nobody serves", cl.Connect("pipe:camera", "GenCP"), NotFound

' the members of any array
If Not cl.GetByName("Width") Is Nothing Then Fail "there is a parameter"
ExpectCode "a value", cl.GetIntegerValue("Width", value), NotFound

WScript.Echo "Done."
WScript.Quit 0

Sub ExpectCode(what, result, code)
    If result.Code <> code Then Fail what & " gave " & result.Code & ": " & result.Description
End Sub

Sub Expect(what, found, wanted)
    If found <> wanted Then Fail what & " is '" & found & "', not '" & wanted & "'"
End Sub

Sub Fail(what)
    WScript.Echo "Failed: " & what
    WScript.Quit 1
End Sub
