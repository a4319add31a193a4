' First light: finds a camera, streams 200 frames from it and saves the last one as a bitmap.
'
'   cscript first_light.vbs [FOLDER [IP-ADDRESS [PACKET-SIZE]]]
'
' FOLDER takes first_light.bmp (default: the current folder). IP-ADDRESS picks a camera (default, or "any": the first one
' found). PACKET-SIZE, in bytes, is for cameras that send no test packets to find the best one with (default: 1440, which
' every network carries).
' Ends with 0 when every step succeeded, with 1 when one failed.
'
' The server returns 1 for true, not -1, so conditions are written "If x Then", never "If x = True" or "If Not x".
' Counts are wrapped in CLng, and numbers of 64 bits in CDbl, before they are compared or calculated with.
'
' Run in the tests, by cscript under Wine: ./run test interop.
Option Explicit

Const AccessControl = 1                ' VexAccessControl
Const PixelWinBGR24 = &H02188004       ' VexPixelWinBGR24
Const BufferFormatBMP = 0              ' VexBufferFormatBMP
Const BufferCount = 16
Const FrameCount = 200

Dim folder, address, defaultPacketSize
folder = "."
address = "any"
defaultPacketSize = 1440
If WScript.Arguments.Count > 0 Then folder = WScript.Arguments(0)
If WScript.Arguments.Count > 1 Then address = WScript.Arguments(1)
If WScript.Arguments.Count > 2 Then defaultPacketSize = CLng(WScript.Arguments(2))

' ---- find a camera ----

Dim system, camera
Set system = CreateObject("VexKamCOMWrapper.VexSystem")
Require system.Find(), "searching for cameras"
Set camera = Nothing
PrintInterfaces
If address = "any" Then address = FirstAddress()
If address = "" Then Fail "no camera was found"
Set camera = CameraAt(address)
If camera Is Nothing Then Fail "no camera was found at " & address

' ---- connect and look around ----

Dim device, features
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
Require device.ConnectDeviceInfo(camera, AccessControl), "connecting to " & address
Set features = device.GenParameters
WScript.Echo "Connected to " & address & ", " & features.Count & " features:"
PrintFeature "DeviceVendorName"
PrintFeature "DeviceModelName"
PrintFeature "DeviceVersion"
PrintFeature "SensorWidth"
PrintFeature "SensorHeight"

' ---- what the images shall be like ----

Require features.SetEnumValueStr("PixelFormat", "BayerRG8"), "setting PixelFormat"
Require features.SetIntegerValue("Width", 640), "setting Width"
Require features.SetIntegerValue("Height", 480), "setting Height"
SetFirstOf Array("ExposureTime", "ExposureTimeAbs"), 10000
SetFirstOf Array("AcquisitionFrameRate", "AcquisitionFrameRateAbs"), 50
PrintFeature "PixelFormat"
PrintFeature "Width"
PrintFeature "Height"

' ---- open the stream ----

Dim stream, payloadSize
Set stream = CreateObject("VexKamCOMWrapper.VexStream")
Require stream.OpenUnicast(address, 0, 0, ""), "opening the stream"
Require device.NegotiatePacketSize(0, defaultPacketSize), "negotiating the packet size"
PrintFeature "GevSCPSPacketSize"
Require device.SetStreamDestination(stream.LocalIPAddress, stream.LocalPort, 0), "setting the stream's destination"
Require features.GetIntegerValue("PayloadSize", payloadSize), "reading PayloadSize"

' The stream keeps no reference on these; they must live as long as they are queued.
Dim buffers(15), i
For i = 0 To BufferCount - 1
    Set buffers(i) = CreateObject("VexKamCOMWrapper.VexBuffer")
    buffers(i).ID = i
    Require buffers(i).Alloc(payloadSize), "allocating a buffer of " & payloadSize & " bytes"
    Require stream.QueueBuffer(buffers(i)), "queueing a buffer"
Next

' ---- acquire ----

If Not features.GetInteger("TLParamsLocked") Is Nothing Then
    Require features.SetIntegerValue("TLParamsLocked", 1), "locking the transport layer parameters"
End If
Require features.ExecuteCommand("AcquisitionStart"), "starting the acquisition"

Dim frame, buffer, operation, bytes, lost, damaged, started, seconds
bytes = 0
lost = 0
damaged = 0
started = Timer
For frame = 1 To FrameCount
    Require stream.RetrieveBuffer(buffer, operation, 5000), "retrieving frame " & frame
    If operation.IsOK Then
        bytes = bytes + CDbl(buffer.AcquiredSize)
    Else
        damaged = damaged + 1
    End If
    lost = lost + CDbl(buffer.LostPacketCount)
    If frame Mod 20 = 0 Then WScript.Echo "  " & frame & " of " & FrameCount & " frames, block " & buffer.BlockID
    ' the last frame is kept for saving, the others go back to the stream
    If frame < FrameCount Then Require stream.QueueBuffer(buffers(CLng(buffer.ID))), "queueing a buffer"
Next
seconds = Timer - started
If seconds <= 0 Then seconds = seconds + 86400 ' midnight has passed

Require features.ExecuteCommand("AcquisitionStop"), "stopping the acquisition"
If Not features.GetInteger("TLParamsLocked") Is Nothing Then
    Require features.SetIntegerValue("TLParamsLocked", 0), "unlocking the transport layer parameters"
End If
WScript.Echo FrameCount & " frames, " & Rounded(FrameCount / seconds) & " frames/s, " & _
    Rounded(bytes / seconds / 1000000) & " MB/s, " & damaged & " damaged, " & lost & " lost packets"
If damaged > 0 Then Fail damaged & " frames were damaged"

' ---- convert and save ----

Dim converter, picture, writer, path
Set converter = CreateObject("VexKamCOMWrapper.VexBufferConverter")
Set picture = CreateObject("VexKamCOMWrapper.VexBuffer")
Require picture.Image.Alloc(buffer.Image.Width, buffer.Image.Height, PixelWinBGR24, 0, 0), "allocating the picture"
Require converter.Convert(buffer, picture, True), "converting the frame"
Set writer = CreateObject("VexKamCOMWrapper.VexBufferWriter")
path = folder & "\first_light.bmp"
Require writer.Store(picture, path, BufferFormatBMP), "saving " & path
WScript.Echo "Saved " & path

' ---- leave ----

Require stream.AbortQueuedBuffers(), "aborting the queue"
Do While CDbl(stream.QueuedBufferCount) > 0
    Require stream.RetrieveBuffer(buffer, operation, 1000), "taking back a buffer"
Loop
Require device.ResetStreamDestination(0), "resetting the stream's destination"
Require stream.Close(), "closing the stream"
Require device.Disconnect(), "disconnecting"
WScript.Echo "First light: done."
WScript.Quit 0

' ---- helpers ----

Sub Fail(text)
    WScript.Echo "First light: failed: " & text
    WScript.Quit 1
End Sub

' Ends the script when an operation did not succeed.
Sub Require(result, what)
    If result.IsOK Then Exit Sub
    Fail what & ": " & result.Description & " (code " & result.Code & ")"
End Sub

Sub PrintInterfaces()
    Dim i, j, networkInterface, info
    For i = 0 To CLng(system.InterfaceCount) - 1
        Set networkInterface = system.GetInterface(i)
        WScript.Echo "Interface " & i & ": " & networkInterface.Description & ", " & networkInterface.IPAddress & _
            ", mask " & networkInterface.SubnetMask & ", MAC " & networkInterface.MACAddress
        For j = 0 To CLng(networkInterface.DeviceCount) - 1
            Set info = networkInterface.GetDeviceInfo(j)
            WScript.Echo "  Camera " & j & ": " & info.Vendor & " " & info.Model & ", serial number " & _
                info.SerialNumber & ", " & info.IPAddress & ", MAC " & info.MACAddress
        Next
    Next
End Sub

Function FirstAddress()
    Dim i
    FirstAddress = ""
    For i = 0 To CLng(system.InterfaceCount) - 1
        If CDbl(system.GetInterface(i).DeviceCount) > 0 Then
            FirstAddress = system.GetInterface(i).GetDeviceInfo(0).IPAddress
            Exit Function
        End If
    Next
End Function

Function CameraAt(wanted)
    Dim i, j
    Set CameraAt = Nothing
    For i = 0 To CLng(system.InterfaceCount) - 1
        For j = 0 To CLng(system.GetInterface(i).DeviceCount) - 1
            If system.GetInterface(i).GetDeviceInfo(j).IPAddress = wanted Then
                Set CameraAt = system.GetInterface(i).GetDeviceInfo(j)
                Exit Function
            End If
        Next
    Next
End Function

' Prints a feature as text whatever its type; cameras without it are passed over.
Sub PrintFeature(name)
    Dim feature, text
    Set feature = features.GetByName(name)
    If feature Is Nothing Then Exit Sub
    Require feature.ValueToString(text), "reading " & name
    WScript.Echo "  " & name & " = " & text
End Sub

' Sets the first of the names that the camera has: older cameras use other names for the same feature.
Sub SetFirstOf(names, value)
    Dim name
    For Each name In names
        If Not features.GetByName(name) Is Nothing Then
            Require features.SetFloatValue(name, value), "setting " & name
            PrintFeature name
            Exit Sub
        End If
    Next
End Sub

Function Rounded(number)
    Rounded = CStr(Int(number * 10 + 0.5) / 10)
End Function
