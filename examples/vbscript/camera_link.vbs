' Camera Link: finds out which camera is on a serial port, connects to it, and reads and sets its features.
'
'   cscript camera_link.vbs PORT [DEVICE]
'
' PORT is a serial port as the system names it, COM3, or what another program serves, pipe:NAME or tcp:PORT. DEVICE is what
' to look for there (default: "GenCP", any camera at any rate); "GenCP:115200" asks at that rate only.
' Ends with 0 and the line "Done." when every step succeeded, with 1 when one failed. What it sets it sets back.
'
' Run in the tests, by cscript under Wine: ./run test scripts.
Option Explicit

Const ProbeTimeout = 250               ' milliseconds that a camera has to answer, at each rate

Dim port, device
If WScript.Arguments.Count < 1 Then Fail "which port? cscript camera_link.vbs COM3"
port = WScript.Arguments(0)
device = ""
If WScript.Arguments.Count > 1 Then device = WScript.Arguments(1)

' ---- find and connect ----

Dim camera, templates, i
Set camera = CreateObject("VexKamCOMWrapper.VexGenParameterArrayCL")
Set templates = camera.DeviceTemplates
For i = 0 To CLng(templates.Size) - 1
    WScript.Echo "Template: " & templates.GetItem(i)
Next

If device = "" Then device = camera.ProbeDevice(port, "GenCP", ProbeTimeout)
If device = "" Then Fail "no camera answers on " & port
Require camera.Connect(port, device), "connecting to " & device & " on " & port
WScript.Echo "Connected: " & camera.DeviceID

' ---- descriptions ----

' the camera's own first, then those of the user's folder
Dim descriptions
Require camera.GetXMLIDs(descriptions), "asking for descriptions"
For i = 0 To CLng(descriptions.Size) - 1
    WScript.Echo "Description: " & descriptions.GetItem(i)
Next
Require camera.Build(descriptions.GetItem(0)), "building the features"
WScript.Echo CDbl(camera.Count) & " features in " & CDbl(camera.CategoryCount) & " categories"

' ---- features, as those of any camera ----

Dim model, width, before
Require camera.SetSerialTimeout(2000), "giving the camera more time"
Require camera.GetStringValue("DeviceModelName", model), "reading the model"
Set width = camera.GetInteger("Width")
If width Is Nothing Then Fail "the camera has no Width"
before = CDbl(width.Value)
width.Value = CDbl(width.Min)
WScript.Echo model & ": Width was " & before & ", is " & CDbl(width.Value)
width.Value = before
If CDbl(width.Value) <> before Then Fail "Width was not set back"

WScript.Echo "Done."
WScript.Quit 0

' Ends the script when an operation did not succeed. IsOK is 1 for true, not -1: never write "= True" or "Not".
Sub Require(result, what)
    If result.IsOK Then Exit Sub
    Fail what & ": " & result.Description & " (code " & result.Code & ")"
End Sub

Sub Fail(what)
    WScript.Echo "Failed: " & what
    WScript.Quit 1
End Sub
