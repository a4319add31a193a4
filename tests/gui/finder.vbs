' Shows the device finder as a script host does that has no message loop of its own: DoEvents until the user closes it.
'
'   cscript finder.vbs TITLE
'
' Ends with 0 when every step succeeded, with 1 when one failed.
Option Explicit

Dim finder, turns
Set finder = CreateObject("VexKamCOMWrapper.VexDeviceFinderWnd")
finder.Title = WScript.Arguments(0)
finder.SetPosition 100, 100, 640, 420
Require finder.ShowModeless(0), "showing the finder"
WScript.Echo "Shown"
turns = 0
Do While CDbl(finder.Handle) <> 0
    Require finder.DoEvents(), "handling events"
    turns = turns + 1
Loop
WScript.Echo "Closed"
If turns = 0 Then Fail "the window was never there"
If Not (finder.Selected Is Nothing) Then Fail "a device was chosen"
WScript.Echo "Done."
WScript.Quit 0

Sub Fail(text)
    WScript.Echo "Failed: " & text
    WScript.Quit 1
End Sub

Sub Require(result, what)
    If result.IsOK Then Exit Sub
    Fail what & ": " & result.Description & " (code " & result.Code & ")"
End Sub
