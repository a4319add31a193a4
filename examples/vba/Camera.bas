Attribute VB_Name = "Camera"
' Camera: finds a camera, sets features, streams images, saves one as a bitmap, shows events and errors.
'
' Not run here: there was no Office where it was written.
'
' How to use it, in 64-bit Excel, Word or Access:
'   1. Register the server: regsvr32 VexKamCOMWrapper.dll
'   2. Alt+F11 opens the editor. File, Import File: Camera.bas, and CameraEvents.cls for the events.
'   3. Tools, References: tick "VexKamCOMWrapper 2.1 Type Library". Only CameraEvents.cls needs it.
'   4. Ctrl+G shows the Immediate window, which takes what is printed. Put the cursor into ShowCamera and press F5, or
'      write there:  ShowCamera "192.168.1.10", "C:\Temp"
'
' Objects are declared As Object: early bound, VBA refuses every member with an unsigned parameter, and those are many.
' Late bound it calls them all. What a method gives by its parameters goes to a Variant. Truth is 1, not -1: write
' "If x Then", never "If x = True" or "If Not x". Counts are unsigned numbers: CLng makes them VBA's own, and CDbl those of
' 64 bits that are too large for CLng.
Option Explicit

Private Const AccessControl As Long = 1             ' VexAccessControl
Private Const PixelWinBGR24 As Long = &H2188004     ' VexPixelWinBGR24
Private Const BufferFormatBMP As Long = 0           ' VexBufferFormatBMP
Private Const EveryNetworkCarries As Long = 1440    ' bytes, for cameras that send no test packets
Private Const FrameCount As Long = 20
Private Const BufferCount As Long = 8
Private Const CameraError As Long = vbObjectError + 513

Private device As Object
Private features As Object
Private stream As Object
Private events As CameraEvents

Public Sub ShowCamera(Optional ByVal address As String = "any", Optional ByVal folder As String = "")
    Dim first As String
    On Error GoTo Failed
    If folder = "" Then folder = Environ$("TEMP")
    Set events = New CameraEvents
    first = Search()
    If address = "any" Then address = first
    If address = "" Then Err.Raise CameraError, , "no camera was found"
    Connect address
    SetFeatures
    ShowErrors
    OpenStream address
    TakeImages folder & "\camera.bmp"
    Leave
    Debug.Print "Done."
    Exit Sub
Failed:
    Debug.Print "Failed: " & Err.Description
    ' the camera is free for others at once
    If Not device Is Nothing Then device.Disconnect
    Set events = Nothing
End Sub

' Methods that can fail return a result object.
Private Sub Require(ByVal result As Object, ByVal what As String)
    If result.IsOK Then Exit Sub
    Err.Raise CameraError, , what & ": " & result.Description & " (code " & result.Code & ")"
End Sub

Private Function Search() As String
    Dim system As Object, i As Long
    Set system = CreateObject("VexKamCOMWrapper.VexSystem")
    events.ListenToSystem system
    Require system.Find(), "searching for cameras"
    For i = CLng(system.InterfaceCount) - 1 To 0 Step -1
        If CLng(system.GetInterface(i).DeviceCount) > 0 Then
            Search = system.GetInterface(i).GetDeviceInfo(0).IPAddress
        End If
    Next
End Function

Private Sub Connect(ByVal address As String)
    Set device = CreateObject("VexKamCOMWrapper.VexDevice")
    events.ListenToDevice device
    Require device.ConnectString(address, AccessControl), "connecting to " & address
    Set features = device.GenParameters
    Debug.Print "Connected to " & address & ", " & features.Count & " features"
End Sub

Private Sub SetFeatures()
    Dim width As Object, value As Variant
    Set width = features.GetInteger("Width")
    events.ListenToFeature width
    Require features.SetEnumValueStr("PixelFormat", "BayerRG8"), "setting PixelFormat"
    Require features.SetIntegerValue("Width", 320), "setting Width"
    width.Value = 640
    Require features.SetIntegerValue("Height", 480), "setting Height"
    Require features.GetIntegerValue("Width", value), "reading Width"
    Debug.Print "Width is " & CDbl(value)
End Sub

' A method tells its failure by its result object, a property by an error.
Private Sub ShowErrors()
    Dim outcome As Object, width As Object
    Set outcome = features.SetIntegerValue("NoSuchFeature", 1)
    Debug.Print "As expected: code " & outcome.Code & ": " & outcome.Description
    Set width = features.GetInteger("Width")
    On Error Resume Next
    width.Value = -1
    Debug.Print "As expected: " & Err.Source & ": " & Err.Description
End Sub

Private Sub OpenStream(ByVal address As String)
    Set stream = CreateObject("VexKamCOMWrapper.VexStream")
    Require stream.OpenUnicast(address, 0, 0, ""), "opening the stream"
    Require device.NegotiatePacketSize(0, EveryNetworkCarries), "negotiating the packet size"
    Require device.SetStreamDestination(stream.LocalIPAddress, stream.LocalPort, 0), "setting the stream's destination"
End Sub

' Cameras that have it want it set while they send.
Private Sub LockSettings(ByVal locked As Long)
    If features.GetInteger("TLParamsLocked") Is Nothing Then Exit Sub
    Require features.SetIntegerValue("TLParamsLocked", locked), "locking the settings"
End Sub

Private Sub TakeImages(ByVal path As String)
    Dim pipeline As Object, payloadSize As Variant, frame As Long, damaged As Long
    Dim buffer As Variant, operation As Variant
    Require features.GetIntegerValue("PayloadSize", payloadSize), "reading PayloadSize"
    ' the stream comes first: size and count belong to the pipeline on it
    Set pipeline = CreateObject("VexKamCOMWrapper.VexPipeline")
    Set pipeline.StreamBase = stream
    pipeline.BufferSize = CLng(payloadSize)
    pipeline.BufferCount = BufferCount
    Require pipeline.Start(), "starting the pipeline"
    LockSettings 1
    Require features.ExecuteCommand("AcquisitionStart"), "starting the acquisition"
    For frame = 1 To FrameCount
        Require pipeline.RetrieveNextBuffer(buffer, 5000, operation), "retrieving image " & frame
        If operation.IsFailure Then damaged = damaged + 1
        If frame = FrameCount Then Save buffer, path
        Require pipeline.ReleaseBuffer(buffer), "giving the buffer back"
        DoEvents
    Next
    Require features.ExecuteCommand("AcquisitionStop"), "stopping the acquisition"
    LockSettings 0
    Require pipeline.Stop(), "stopping the pipeline"
    Set pipeline.StreamBase = Nothing
    Debug.Print FrameCount & " images, " & damaged & " damaged"
End Sub

Private Sub Save(ByVal image As Object, ByVal path As String)
    Dim picture As Object, converter As Object, writer As Object
    Set picture = CreateObject("VexKamCOMWrapper.VexBuffer")
    Require picture.Image.Alloc(image.Image.Width, image.Image.Height, PixelWinBGR24, 0, 0), "allocating the picture"
    Set converter = CreateObject("VexKamCOMWrapper.VexBufferConverter")
    Require converter.Convert(image, picture, True), "converting the image"
    Set writer = CreateObject("VexKamCOMWrapper.VexBufferWriter")
    Require writer.Store(picture, path, BufferFormatBMP), "saving " & path
    Debug.Print "Saved " & path
End Sub

Private Sub Leave()
    Require device.ResetStreamDestination(0), "resetting the stream's destination"
    Require stream.Close(), "closing the stream"
    Require device.Disconnect(), "disconnecting"
    Set events = Nothing
End Sub
