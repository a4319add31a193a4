' A pipeline as scripts use it: its stream set and taken away, refusals, frames from a camera.
'
'   cscript pipeline.vbs FOLDER IP-ADDRESS
'
' FOLDER is not used.
Option Explicit

Const AccessControl = 1                ' VexAccessControl
Const NotConnected = 23                ' VexNotConnected
Const NotInitialized = 1541            ' VexNotInitialized
Const InvalidParameter = 16385         ' VexInvalidParameter
Const StateError = 28                  ' VexStateError

Dim address, pipeline, stream, buffer, operation, result
address = WScript.Arguments(1)
Set pipeline = CreateObject("VexKamCOMWrapper.VexPipeline")
Set stream = CreateObject("VexKamCOMWrapper.VexStream")

' ---- without a stream ----

Expect "whether there is a stream", pipeline.StreamBase Is Nothing, True
Expect "code of a stop", Code(pipeline.Stop()), NotInitialized
Expect "code of a retrieval", Code(pipeline.RetrieveNextBuffer(buffer, 0, operation)), NotInitialized
Expect "code of its operation", Code(operation), NotInitialized
Expect "whether a buffer came", buffer Is Nothing, True
ExpectError "reading IsStarted", "pipeline.IsStarted"
ExpectError "reading BufferCount", "pipeline.BufferCount"
ExpectError "setting BufferCount", "Assign"

' ---- with one ----

Set pipeline.StreamBase = stream
Expect "whether the stream is back", pipeline.StreamBase Is stream, True
Expect "IsStarted", CInt(pipeline.IsStarted), 0
Expect "code of a start", Code(pipeline.Start()), NotConnected
pipeline.BufferCount = 5
Expect "BufferCount", CDbl(pipeline.BufferCount), 5
ExpectError "setting BufferCount to 0", "Assign0"
Set pipeline.StreamBase = Nothing
Expect "whether the stream has gone", pipeline.StreamBase Is Nothing, True
ExpectError "reading IsStarted again", "pipeline.IsStarted"
On Error Resume Next
Set pipeline.StreamBase = CreateObject("VexKamCOMWrapper.VexBuffer")
If Err.Number = 0 Then Fail "a buffer was taken for a stream"
On Error GoTo 0

' ---- frames ----

Dim device, features, payload, frame, last
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
Require device.ConnectString(address, AccessControl), "connecting"
Set features = device.GenParameters
Require features.SetIntegerValue("Width", 64), "setting Width"
Require features.SetIntegerValue("Height", 48), "setting Height"
Require features.GetIntegerValue("PayloadSize", payload), "reading PayloadSize"
Require stream.OpenUnicast(address, 0, 0, ""), "opening the stream"
Require device.SetStreamDestination(stream.LocalIPAddress, stream.LocalPort, 0), "setting the destination"
Set pipeline.StreamBase = stream
pipeline.BufferSize = payload
pipeline.BufferCount = 3
Require pipeline.Start(), "starting"
Expect "code of a second start", Code(pipeline.Start()), StateError
Expect "IsStarted", CInt(pipeline.IsStarted), 1
Require features.ExecuteCommand("AcquisitionStart"), "starting the acquisition"
last = 0
For frame = 1 To 10
    Require pipeline.RetrieveNextBuffer(buffer, 10000, operation), "retrieving frame " & frame
    Require operation, "frame " & frame
    Expect "AcquiredSize", CDbl(buffer.AcquiredSize), CDbl(payload)
    If CDbl(buffer.BlockID) <= last Then Fail "block " & buffer.BlockID & " came after block " & last
    last = CDbl(buffer.BlockID)
    Require pipeline.ReleaseBuffer(buffer), "releasing frame " & frame
Next
Expect "code of a second release", Code(pipeline.ReleaseBuffer(buffer)), StateError
Expect "code of releasing a buffer of others", Code(pipeline.ReleaseBuffer(CreateObject("VexKamCOMWrapper.VexBuffer"))), _
    InvalidParameter
Require features.ExecuteCommand("AcquisitionStop"), "stopping the acquisition"
Require pipeline.Stop(), "stopping"
Require pipeline.Reset(), "resetting"
Expect "OutputQueueSize", CDbl(pipeline.OutputQueueSize), 0
Expect "buffers on the stream", CDbl(stream.QueuedBufferCount), 0
Require device.Disconnect(), "disconnecting"

WScript.Echo "Done."
WScript.Quit 0

Function Code(given)
    Code = CLng(given.Code)
End Function

' Fails unless the statement raises an error with a text.
Sub ExpectError(what, statement)
    Dim value
    On Error Resume Next
    Select Case statement
    Case "pipeline.IsStarted": value = pipeline.IsStarted
    Case "pipeline.BufferCount": value = pipeline.BufferCount
    Case "Assign": pipeline.BufferCount = 3
    Case "Assign0": pipeline.BufferCount = 0
    End Select
    If Err.Number = 0 Then Fail what & " raised no error"
    If Err.Description = "" Then Fail what & " raised an error without a text"
    On Error GoTo 0
End Sub

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
