' Camera: finds a camera, sets features, streams images, saves one as a bitmap, shows events and errors.
'
'   cscript camera.vbs [IP-ADDRESS [FOLDER]]
'
' IP-ADDRESS picks a camera (default, or "any": the first one found). FOLDER takes camera.bmp (default: the current one).
' Ends with 0 and the line "Done." when every step succeeded, with 1 when one failed.
'
' Run in the tests, by cscript under Wine: ./run test scripts. Events are not: Wine's cscript connects none, and the script
' goes on without.
'
' The server returns 1 for true, not -1, so conditions are written "If x Then", never "If x = True" or "If Not x". Counts
' are unsigned numbers, which VBScript does not compare or calculate with: CLng makes them its own.
Option Explicit

Const AccessControl = 1                ' VexAccessControl
Const PixelWinBGR24 = &H02188004       ' VexPixelWinBGR24
Const BufferFormatBMP = 0              ' VexBufferFormatBMP
Const EveryNetworkCarries = 1440       ' bytes, for cameras that send no test packets
Const FrameCount = 20
Const BufferCount = 8

Dim address, folder
address = "any"
folder = "."
If WScript.Arguments.Count > 0 Then address = WScript.Arguments(0)
If WScript.Arguments.Count > 1 Then folder = WScript.Arguments(1)

' ---- find a camera ----

Dim system, first
Set system = CreateObject("VexKamCOMWrapper.VexSystem")
ListenTo system, "system_"
Require system.Find(), "searching for cameras"
first = FirstAddress()
If address = "any" Then address = first
If address = "" Then Fail "no camera was found"

' ---- connect ----

Dim device, features
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
ListenTo device, "device_"
Require device.ConnectString(address, AccessControl), "connecting to " & address
Set features = device.GenParameters
WScript.Echo "Connected to " & address & ", " & features.Count & " features"

' ---- set features ----

Dim width, value
Set width = features.GetInteger("Width")
ListenTo width, "width_"
Require features.SetEnumValueStr("PixelFormat", "BayerRG8"), "setting PixelFormat"
Require features.SetIntegerValue("Width", 320), "setting Width"
width.Value = 640
Require features.SetIntegerValue("Height", 480), "setting Height"
Require features.GetIntegerValue("Width", value), "reading Width"
If CDbl(value) <> 640 Then Fail "Width is not what it was set to"

ShowErrors

' ---- stream ----

Dim stream, pipeline, payloadSize
Set stream = CreateObject("VexKamCOMWrapper.VexStream")
Require stream.OpenUnicast(address, 0, 0, ""), "opening the stream"
Require device.NegotiatePacketSize(0, EveryNetworkCarries), "negotiating the packet size"
Require device.SetStreamDestination(stream.LocalIPAddress, stream.LocalPort, 0), "setting the stream's destination"
Require features.GetIntegerValue("PayloadSize", payloadSize), "reading PayloadSize"
' the stream comes first: size and count belong to the pipeline on it
Set pipeline = CreateObject("VexKamCOMWrapper.VexPipeline")
Set pipeline.StreamBase = stream
pipeline.BufferSize = payloadSize
pipeline.BufferCount = BufferCount
Require pipeline.Start(), "starting the pipeline"
LockSettings 1
Require features.ExecuteCommand("AcquisitionStart"), "starting the acquisition"

Dim frame, buffer, operation, damaged
damaged = 0
For frame = 1 To FrameCount
    Require pipeline.RetrieveNextBuffer(buffer, 5000, operation), "retrieving image " & frame
    If operation.IsFailure Then damaged = damaged + 1
    If frame = FrameCount Then Save buffer
    Require pipeline.ReleaseBuffer(buffer), "giving the buffer back"
Next
WScript.Echo FrameCount & " images, " & damaged & " damaged"

' ---- leave ----

Require features.ExecuteCommand("AcquisitionStop"), "stopping the acquisition"
LockSettings 0
Require pipeline.Stop(), "stopping the pipeline"
Set pipeline.StreamBase = Nothing
Require device.ResetStreamDestination(0), "resetting the stream's destination"
Require stream.Close(), "closing the stream"
Require device.Disconnect(), "disconnecting"
WScript.Echo "Done."
WScript.Quit 0

' ---- events ----

' From now on the object's events call the procedures of this script that begin with the prefix.
Sub ListenTo(object, prefix)
    On Error Resume Next
    WScript.ConnectObject object, prefix
    If Err.Number <> 0 Then WScript.Echo "This script host connects no events of " & prefix
End Sub

Sub system_OnDeviceFound(networkInterface, info, ignore)
    WScript.Echo "Event: found " & info.Model & " at " & info.IPAddress
End Sub

Sub device_OnLinkDisconnected(device)
    WScript.Echo "Event: the connection was lost"
End Sub

Sub width_OnParameterUpdate(parameter)
    WScript.Echo "Event: " & parameter.Name & " has changed"
End Sub

' ---- helpers ----

Sub Fail(text)
    WScript.Echo "Failed: " & text
    WScript.Quit 1
End Sub

' Ends the script when an operation did not succeed.
Sub Require(result, what)
    If result.IsOK Then Exit Sub
    Fail what & ": " & result.Description & " (code " & result.Code & ")"
End Sub

Function FirstAddress()
    Dim i
    FirstAddress = ""
    For i = CLng(system.InterfaceCount) - 1 To 0 Step -1
        If CLng(system.GetInterface(i).DeviceCount) > 0 Then
            FirstAddress = system.GetInterface(i).GetDeviceInfo(0).IPAddress
        End If
    Next
End Function

' A method tells its failure by its result object, a property by an error.
Sub ShowErrors()
    Dim outcome, number, text
    Set outcome = features.SetIntegerValue("NoSuchFeature", 1)
    If outcome.IsOK Then Fail "a feature that there is not was set"
    WScript.Echo "As expected: code " & outcome.Code & ": " & outcome.Description
    On Error Resume Next
    width.Value = -1
    number = Err.Number
    text = Err.Description
    On Error GoTo 0
    If number = 0 Then Fail "a Width of -1 was taken"
    WScript.Echo "As expected: " & text
End Sub

' Cameras that have it want it set while they send.
Sub LockSettings(locked)
    If features.GetInteger("TLParamsLocked") Is Nothing Then Exit Sub
    Require features.SetIntegerValue("TLParamsLocked", locked), "locking the settings"
End Sub

Sub Save(image)
    Dim picture, converter, writer, path
    Set picture = CreateObject("VexKamCOMWrapper.VexBuffer")
    Require picture.Image.Alloc(image.Image.Width, image.Image.Height, PixelWinBGR24, 0, 0), "allocating the picture"
    Set converter = CreateObject("VexKamCOMWrapper.VexBufferConverter")
    Require converter.Convert(image, picture, True), "converting the image"
    Set writer = CreateObject("VexKamCOMWrapper.VexBufferWriter")
    path = folder & "\camera.bmp"
    Require writer.Store(picture, path, BufferFormatBMP), "saving " & path
    WScript.Echo "Saved " & path
End Sub
