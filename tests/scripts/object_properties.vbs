' Objects as properties: Set reaches a property that takes an object, and no other.
'
'   cscript object_properties.vbs FOLDER IP-ADDRESS
'
' The arguments are not used.
Option Explicit

Const NoSuchMember = 438

Dim pipeline, stream
Set pipeline = CreateObject("VexKamCOMWrapper.VexPipeline")
Set stream = CreateObject("VexKamCOMWrapper.VexStream")
On Error Resume Next
Set pipeline.StreamBase = stream
If Err.Number = NoSuchMember Then Fail "Set does not reach StreamBase"
Err.Clear
Set pipeline.StreamBase = Nothing
If Err.Number = NoSuchMember Then Fail "Set does not reach StreamBase with Nothing"
Err.Clear
Set pipeline.BufferCount = stream
If Err.Number = 0 Then Fail "an object was set as a number"
On Error GoTo 0
WScript.Echo "Done."
WScript.Quit 0

Sub Fail(what)
    WScript.Echo what & ": " & Err.Number & " " & Err.Description
    WScript.Quit 1
End Sub
