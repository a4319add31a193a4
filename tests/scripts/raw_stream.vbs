' A raw stream as scripts use it: settings, refusals, statistics of a camera's frames.
'
'   cscript raw_stream.vbs FOLDER IP-ADDRESS
'
' FOLDER is not used.
Option Explicit

Const AccessControl = 1                ' VexAccessControl
Const Timeout = 30                     ' VexTimeout
Const TimestampSourceSoftware = 1      ' VexTimestampSourceSoftware

Dim address, stream, statistics
address = WScript.Arguments(1)
Set stream = CreateObject("VexKamCOMWrapper.VexStreamRaw")
Set statistics = stream.Statistics
Expect "whether the statistics are one object", stream.Statistics Is statistics, True

' ---- settings ----

stream.PacketTimeout = 50
Expect "PacketTimeout", CDbl(stream.PacketTimeout), 50
stream.ResendPacketEnable = True
Expect "ResendPacketEnable", CInt(stream.ResendPacketEnable), 1
stream.ResendPacketEnable = False
Expect "ResendPacketEnable", CInt(stream.ResendPacketEnable), 0
stream.ResendPacketEnable = True
On Error Resume Next
stream.LatencyLevel = 33
If Err.Number = 0 Then Fail "a LatencyLevel of 33 was taken"
If InStr(Err.Description, "1 to 32") = 0 Then Fail "the refusal does not tell the range: " & Err.Description
If Err.Source <> "VexKamCOMWrapper.VexStreamRaw.1" Then Fail "the refusal comes from " & Err.Source
On Error GoTo 0
Expect "LatencyLevel", CDbl(stream.LatencyLevel), 16
statistics.TimeoutCountedAsError = True
Expect "TimeoutCountedAsError", CInt(statistics.TimeoutCountedAsError), 1
statistics.TimestampSourcePreferred = TimestampSourceSoftware
Expect "TimestampSourcePreferred", CLng(statistics.TimestampSourcePreferred), TimestampSourceSoftware

' ---- frames ----

Dim device, features, payload, buffer, taken, operation, frame
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
Require device.ConnectString(address, AccessControl), "connecting"
Set features = device.GenParameters
Require features.SetIntegerValue("Width", 64), "setting Width"
Require features.SetIntegerValue("Height", 48), "setting Height"
Require features.GetIntegerValue("PayloadSize", payload), "reading PayloadSize"
Require stream.OpenUnicast(address, 0, 0, ""), "opening the stream"
Expect "RemoteIpAddress", stream.RemoteIpAddress, address
Expect "code of a retrieval of nothing", CLng(stream.RetrieveBuffer(taken, operation, 0).Code), Timeout
Expect "ErrorCount", CDbl(statistics.ErrorCount), 1
Expect "code of LastError", CLng(statistics.LastError.Code), Timeout
statistics.Reset
Expect "ErrorCount after Reset", CDbl(statistics.ErrorCount), 0
Expect "whether LastError is none", CInt(statistics.LastError.IsOK), 1
Require device.SetStreamDestination(stream.LocalIPAddress, stream.LocalPort, 0), "setting the destination"
Set buffer = CreateObject("VexKamCOMWrapper.VexBuffer")
Require buffer.Alloc(payload), "allocating"
Require features.ExecuteCommand("AcquisitionStart"), "starting the acquisition"
For frame = 1 To 5
    Require stream.QueueBuffer(buffer), "queueing"
    Require stream.RetrieveBuffer(taken, operation, 10000), "retrieving frame " & frame
    Require operation, "frame " & frame
Next
Require features.ExecuteCommand("AcquisitionStop"), "stopping the acquisition"
Expect "ImagesCount", CDbl(statistics.ImagesCount), 5
Expect "BlocksCount", CDbl(statistics.BlocksCount), 5
If CDbl(statistics.BytesCount) < 5 * CDbl(payload) Then Fail "BytesCount is " & statistics.BytesCount
If statistics.AcquisitionRateAverage <= 0 Then Fail "AcquisitionRateAverage is " & statistics.AcquisitionRateAverage
Require stream.Close(), "closing"
Require device.Disconnect(), "disconnecting"

' ---- without its stream ----

Dim blocks
Set taken = Nothing
Set stream = Nothing
On Error Resume Next
blocks = statistics.BlocksCount
If Err.Number = 0 Then Fail "statistics outlived their stream"
On Error GoTo 0
WScript.Echo "Done."
WScript.Quit 0

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
