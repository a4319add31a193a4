' A transmitter as scripts use it: arrays of buffers as a pool, free buffers, queueing, and what is refused.
'
'   cscript transmitter.vbs FOLDER IP-ADDRESS
'
' The arguments are not used: blocks go to port 9 of 127.0.0.1, where nobody needs to listen.
Option Explicit

Const PayloadTypeRawData = 2           ' VexPayloadTypeRawData
Const PixelMono8 = &H01080001          ' VexPixelMono8
Const InvalidParameter = &H4001           ' VexInvalidParameter
Const NoAvailableData = 20             ' VexNoAvailableData
Const StateError = 28                  ' VexStateError
Const TimedOut = 30                    ' VexTimeout
Const Where = "127.0.0.1"
Const Ample = 10000                    ' ms

Dim transmitter
Set transmitter = CreateObject("VexKamCOMWrapper.VexTransmitterRaw")
Expect "whether it is open", CInt(transmitter.IsOpen), 0
Expect "destination", transmitter.DestinationIPAddress, ""
Expect "packet size", CDbl(transmitter.PacketSize), 1440

' ---- the pool ----

Dim pool(2), free, another, number
For number = 0 To 2
    Set pool(number) = CreateObject("VexKamCOMWrapper.VexBuffer")
    Require pool(number).Image.Alloc(16, 8, PixelMono8, 0, 0), "allocating an image"
    pool(number).ID = number + 1
Next
ExpectCode "a free buffer without a pool", transmitter.RetrieveFreeBuffer(free, 0), NoAvailableData
Expect "what it gave", free Is Nothing, True
Require transmitter.LoadBufferPool(pool), "loading the pool"
Require transmitter.RetrieveFreeBuffer(free, 0), "the first free buffer"
Expect "its ID", CDbl(free.ID), 1
Require transmitter.RetrieveFreeBuffer(another, 0), "the second free buffer"
Expect "its ID", CDbl(another.ID), 2
Expect "whether both are the same object", free Is another, False
Require transmitter.LoadBufferPool(Array()), "an empty pool"
Require transmitter.RetrieveFreeBuffer(another, 0), "the third free buffer, with the pool still there"
Expect "its ID", CDbl(another.ID), 3
ExpectCode "a fourth free buffer", transmitter.RetrieveFreeBuffer(another, 0), TimedOut
Expect "what it gave", another Is Nothing, True
ExpectCode "a buffer twice", transmitter.LoadBufferPool(Array(pool(0), pool(0))), InvalidParameter

' ---- what is no pool ----

Dim things
things = Array(pool(0), CreateObject("VexKamCOMWrapper.VexSystem"))
On Error Resume Next
transmitter.LoadBufferPool things
Expect "text for an object that is no buffer", Err.Description, "Element 1 of the buffers is no VexBuffer"
Err.Clear
transmitter.LoadBufferPool Array(pool(0), Nothing)
Expect "whether nothing is a buffer", Err.Number <> 0, True
Err.Clear
transmitter.LoadBufferPool Array(1, 2)
Expect "whether numbers are buffers", Err.Number <> 0, True
Err.Clear
transmitter.PacketSize = 100
Expect "whether the text names the range", InStr(Err.Description, "576") > 0, True
Err.Clear
transmitter.MaxPayloadThroughput = -1
Expect "whether a negative throughput is refused", Err.Number <> 0, True
Expect "whether there is a text", Len(Err.Description) > 0, True
On Error GoTo 0

' ---- sending ----

Require transmitter.LoadBufferPool(pool), "loading the pool again"
ExpectCode "queueing while it is closed", transmitter.QueueBuffer(pool(0)), StateError
Require transmitter.Open(Where, 9, "", 0, False), "opening"
Expect "whether it is open now", CInt(transmitter.IsOpen), 1
Expect "source", transmitter.SourceIPAddress, Where
Expect "destination port", CDbl(transmitter.DestinationPort), 9
For number = 1 To 10
    Require transmitter.RetrieveFreeBuffer(free, Ample), "a free buffer"
    Require transmitter.QueueBuffer(free), "queueing"
Next
Set free = Nothing
For number = 1 To 3
    Require transmitter.RetrieveFreeBuffer(free, Ample), "a buffer that was sent"
Next
Expect "blocks", CDbl(transmitter.BlocksTransmitted), 10
Expect "payload bytes", CDbl(transmitter.PayloadBytesTransmitted), 1280
Expect "whether there is an average rate", CDbl(transmitter.AverageTransmissionRate) > 0, True

' a buffer that its script lets go is no buffer of the pool any more
Require transmitter.LoadBufferPool(pool), "loading the pool once more"
things = Empty
Set pool(0) = Nothing
Require transmitter.RetrieveFreeBuffer(free, 0), "a buffer that is still there"
Expect "its ID", CDbl(free.ID), 2

' ten seconds of raw data, cut off
transmitter.MaxPayloadThroughput = 2
pool(1).PayloadType = PayloadTypeRawData
Require pool(1).Alloc(2500000), "allocating raw data"
Require transmitter.QueueBuffer(pool(1)), "queueing a large block"
ExpectCode "loading a pool while buffers are queued", transmitter.LoadBufferPool(Array(pool(2))), StateError
Require transmitter.AbortQueuedBuffers(False, 0), "aborting"
Expect "queued buffers", CDbl(transmitter.QueuedBufferCount), 0
transmitter.ResetStats
Expect "blocks after the reset", CDbl(transmitter.BlocksTransmitted), 0
Require transmitter.Close(), "closing"
Require transmitter.Close(), "closing again"

WScript.Echo "Done."
WScript.Quit 0

Sub Expect(what, found, wanted)
    If CStr(found) <> CStr(wanted) Then Fail what & " is " & CStr(found) & ", not " & CStr(wanted)
End Sub

Sub ExpectCode(what, result, code)
    If result.IsOK Then Fail what & " succeeded"
    Expect "code of " & what, CLng(result.Code), code
End Sub

Sub Require(result, what)
    If result.IsOK Then Exit Sub
    Fail what & ": " & result.Description
End Sub

Sub Fail(message)
    WScript.Echo "Failed: " & message
    WScript.Quit 1
End Sub
