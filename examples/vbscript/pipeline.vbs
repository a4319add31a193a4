' Pipeline: streams from a camera without queueing a buffer, and prints how it went.
'
'   cscript pipeline.vbs [IP-ADDRESS [FRAMES [PACKET-SIZE]]]
'
' IP-ADDRESS picks a camera (default, or "any": the first one found), FRAMES how many frames are taken (default: 100).
' PACKET-SIZE, in bytes, is for cameras that send no test packets to find the best one with (default: 1440).
' Ends with 0 when every step succeeded, with 1 when one failed.
'
' A pipeline owns its buffers and keeps them queued. A script fetches a filled one, uses it and gives it back; while it
' keeps one, the others go on being filled.
'
' The server returns 1 for true, not -1, so conditions are written "If x Then", never "If x = True" or "If Not x".
' Counts are wrapped in CLng, and numbers of 64 bits in CDbl, before they are compared or calculated with.
'
' Run in the tests, by cscript under Wine: ./run test scripts.
Option Explicit

Const AccessControl = 1                ' VexAccessControl
Const BufferCount = 8

Dim address, frames, defaultPacketSize
address = "any"
frames = 100
defaultPacketSize = 1440
If WScript.Arguments.Count > 0 Then address = WScript.Arguments(0)
If WScript.Arguments.Count > 1 Then frames = CLng(WScript.Arguments(1))
If WScript.Arguments.Count > 2 Then defaultPacketSize = CLng(WScript.Arguments(2))
If address = "any" Then address = FirstAddress()
If address = "" Then Fail "no camera was found"

Dim device, features, stream, pipeline, payloadSize
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
Require device.ConnectString(address, AccessControl), "connecting to " & address
Set features = device.GenParameters
Set stream = CreateObject("VexKamCOMWrapper.VexStream")
Require stream.OpenUnicast(address, 0, 0, ""), "opening the stream"
Require device.NegotiatePacketSize(0, defaultPacketSize), "negotiating the packet size"
Require device.SetStreamDestination(stream.LocalIPAddress, stream.LocalPort, 0), "setting the stream's destination"
Require features.GetIntegerValue("PayloadSize", payloadSize), "reading PayloadSize"

' the stream comes first: size and count belong to the pipeline on it
Set pipeline = CreateObject("VexKamCOMWrapper.VexPipeline")
Set pipeline.StreamBase = stream
pipeline.BufferSize = payloadSize
pipeline.BufferCount = BufferCount
Require pipeline.Start(), "starting the pipeline"
Lock 1
Require features.ExecuteCommand("AcquisitionStart"), "starting the acquisition"

Dim frame, buffer, operation, bytes, damaged, lost, waiting, started, seconds
bytes = 0
damaged = 0
lost = 0
waiting = 0
started = Timer
For frame = 1 To frames
    Require pipeline.RetrieveNextBuffer(buffer, 5000, operation), "retrieving frame " & frame
    If operation.IsOK Then
        bytes = bytes + CDbl(buffer.AcquiredSize)
    Else
        damaged = damaged + 1
    End If
    lost = lost + CDbl(buffer.LostPacketCount)
    If CDbl(pipeline.OutputQueueSize) > waiting Then waiting = CDbl(pipeline.OutputQueueSize)
    If frame Mod 20 = 0 Then WScript.Echo "  " & frame & " of " & frames & " frames, block " & buffer.BlockID
    Require pipeline.ReleaseBuffer(buffer), "releasing the buffer"
Next
seconds = Timer - started
If seconds <= 0 Then seconds = seconds + 86400 ' midnight has passed

Require features.ExecuteCommand("AcquisitionStop"), "stopping the acquisition"
Lock 0
Require pipeline.Stop(), "stopping the pipeline"
WScript.Echo frames & " frames of " & payloadSize & " bytes, " & Rounded(frames / seconds) & " frames/s, " & _
    Rounded(bytes / seconds / 1000000) & " MB/s"
WScript.Echo damaged & " damaged, " & lost & " lost packets, at most " & waiting & " frames waiting"

Set pipeline.StreamBase = Nothing
Require device.ResetStreamDestination(0), "resetting the stream's destination"
Require stream.Close(), "closing the stream"
Require device.Disconnect(), "disconnecting"
If damaged > 0 Then Fail damaged & " frames were damaged"
WScript.Echo "Done."
WScript.Quit 0

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

' Cameras that have it want it set while they send.
Sub Lock(locked)
    If features.GetInteger("TLParamsLocked") Is Nothing Then Exit Sub
    Require features.SetIntegerValue("TLParamsLocked", locked), "locking the transport layer parameters"
End Sub

Function Rounded(number)
    Rounded = CStr(Int(number * 10 + 0.5) / 10)
End Function
