' Virtual camera: makes a camera of this host, with a moving picture that any client of GigE Vision cameras can watch.
'
'   cscript virtual_camera.vbs [IP-ADDRESS [SECONDS]]
'
' IP-ADDRESS is one of this host's addresses to be a camera at (default: its first network interface). SECONDS is how long
' (default: 600). Connect a client to that address, start its acquisition, and the picture moves.
' Ends with 0 when every step succeeded, with 1 when one failed.
'
' A virtual device answers like a camera but has no pictures; a transmitter that sends to where the client wants them makes
' it one. What the client wants, the script reads from its own device like any other program that only looks on.
'
' The server returns 1 for true, not -1, so conditions are written "If x Then", never "If x = True" or "If Not x".
' Counts are wrapped in CLng, and numbers of 64 bits in CDbl, before they are compared or calculated with.
'
' Run in the tests, by cscript under Wine: ./run test interop.
Option Explicit

Const AccessReadOnly = 2               ' VexAccessReadOnly
Const PixelMono8 = &H01080001          ' VexPixelMono8
Const ImageWidth = 640                 ' pixels; what a virtual device announces before its first picture
Const ImageHeight = 480
Const PictureCount = 8
Const BarWidth = 20                    ' pixels
Const PictureTime = 80                 ' ms between two pictures
Const Throughput = 200                 ' Mbit/s; packets come as fast as any network carries them

Dim address, seconds
address = ""
seconds = 600
If WScript.Arguments.Count > 0 Then address = WScript.Arguments(0)
If WScript.Arguments.Count > 1 Then seconds = CDbl(WScript.Arguments(1))

' ---- the pictures: a bar that moves over a ramp ----

Dim pictures(7), pixels(307199), x, y, number
For y = 0 To ImageHeight - 1
    For x = 0 To ImageWidth - 1
        pixels(y * ImageWidth + x) = (x + y) And 127
    Next
Next
For number = 0 To PictureCount - 1
    DrawBar number, True
    Set pictures(number) = CreateObject("VexKamCOMWrapper.VexBuffer")
    Require pictures(number).Image.Alloc(ImageWidth, ImageHeight, PixelMono8, 0, 0), "allocating a picture"
    pictures(number).Image.Data = pixels
    DrawBar number, False
Next

' ---- the device ----

Dim device, outcome, monitor, features
Set device = CreateObject("VexKamCOMWrapper.VexVirtualDevice")
Set outcome = device.StartListening(address)
Require outcome, "being a device"
WScript.Echo outcome.Description
If address = "" Then address = AddressIn(outcome.Description)
Set monitor = CreateObject("VexKamCOMWrapper.VexDevice")
Require monitor.ConnectString(address, AccessReadOnly), "looking at the device"
Set features = monitor.GenParameters

' ---- the transmitter ----

' The transmitter keeps no reference to the pictures; they must live as long as they are in its pool.
Dim transmitter, sent, nextPicture, free, started
Set transmitter = CreateObject("VexKamCOMWrapper.VexTransmitterRaw")
transmitter.MaxPayloadThroughput = Throughput
Require transmitter.LoadBufferPool(pictures), "loading the pictures"
TakeAll
sent = 0
nextPicture = 0
started = Timer
Do While Elapsed() < seconds
    If IsWatched() Then
        SendPicture
    Else
        StopSending
    End If
    ' nothing is free, so this waits
    transmitter.RetrieveFreeBuffer free, PictureTime
Loop
StopSending
Set features = Nothing
monitor.Disconnect
device.StopListening
WScript.Echo sent & " pictures"
WScript.Echo "Done."
WScript.Quit 0

' ---- helpers ----

' Whether a client has opened the stream and started the acquisition.
Function IsWatched()
    IsWatched = CDbl(features.GetInteger("GevSCPHostPort").Value) <> 0 And _
        CInt(features.GetBoolean("AcquisitionStatus").Value) <> 0
End Function

Sub SendPicture()
    If CInt(transmitter.IsOpen) = 0 Then
        Dim port, destination
        port = CDbl(features.GetInteger("GevSCPHostPort").Value)
        destination = AddressText(CDbl(features.GetInteger("GevSCDA").Value))
        Require transmitter.Open(destination, port, address, 0, False), "sending to " & destination
        WScript.Echo "Sending to " & destination & ", port " & port
    End If
    Require transmitter.QueueBuffer(pictures(nextPicture)), "queueing a picture"
    Require transmitter.RetrieveFreeBuffer(free, 5000), "waiting until it is sent"
    nextPicture = (nextPicture + 1) Mod PictureCount
    sent = sent + 1
End Sub

Sub StopSending()
    If CInt(transmitter.IsOpen) = 0 Then Exit Sub
    Require transmitter.Close(), "closing the transmitter"
    TakeAll
    WScript.Echo "Sending ended after " & sent & " pictures"
End Sub

' Takes all pictures out of the transmitter: what comes back from now on has been sent.
Sub TakeAll()
    Do While transmitter.RetrieveFreeBuffer(free, 0).IsOK
    Loop
End Sub

Sub DrawBar(position, bright)
    Dim x, y, left
    left = Int(position * (ImageWidth - BarWidth) / (PictureCount - 1))
    For y = 0 To ImageHeight - 1
        For x = left To left + BarWidth - 1
            If bright Then
                pixels(y * ImageWidth + x) = 255
            Else
                pixels(y * ImageWidth + x) = (x + y) And 127
            End If
        Next
    Next
End Sub

' The first IPv4 address in a text.
Function AddressIn(text)
    Dim word
    AddressIn = ""
    For Each word In Split(Replace(text, ",", " "), " ")
        If UBound(Split(word, ".")) = 3 Then
            AddressIn = word
            Exit Function
        End If
    Next
End Function

' An address from the number that stands in a register.
Function AddressText(value)
    Dim part, rest, divisor
    rest = value
    divisor = 16777216
    AddressText = ""
    For part = 1 To 4
        AddressText = AddressText & Int(rest / divisor)
        If part < 4 Then AddressText = AddressText & "."
        rest = rest - Int(rest / divisor) * divisor
        divisor = divisor / 256
    Next
End Function

Function Elapsed()
    Elapsed = Timer - started
    If Elapsed < 0 Then Elapsed = Elapsed + 86400 ' midnight has passed
End Function

Sub Require(result, what)
    If result.IsOK Then Exit Sub
    WScript.Echo "Failed: " & what & ": " & result.Description
    WScript.Quit 1
End Sub
