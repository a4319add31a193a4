' Feature browsers from a script: visibility, features, properties that are saved, tabs by index.
'
'   cscript browsers.vbs FOLDER IP-ADDRESS
'
' FOLDER is not used. IP-ADDRESS is a software camera's.
Option Explicit

Const AccessControl = 1                ' VexAccessControl
Const LevelExpert = 1                  ' VexGenVisibilityExpert
Const LevelGuru = 2                    ' VexGenVisibilityGuru
Const Raised = &H80020009              ' DISP_E_EXCEPTION

Dim device, features, browser, list, i
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
Require device.ConnectString(WScript.Arguments(1), AccessControl), "connecting"
Set features = device.GenParameters

' ---- one array ----

Set browser = CreateObject("VexKamCOMWrapper.VexGenBrowserWnd")
Expect "title", browser.Title, "Features"
Expect "visibility at first", browser.Visibility, 0
browser.Visibility = LevelGuru
Expect "visibility", browser.Visibility, LevelGuru
On Error Resume Next
browser.Visibility = 999
Expect "a visibility that there is not", Hex(Err.Number), Hex(Raised)
Expect "its text", Err.Description, "There is no visibility 999"
Err.Clear
On Error GoTo 0
Expect "visibility that was kept", browser.Visibility, LevelGuru

Set browser.GenParameterArray = Nothing
Set browser.GenParameterArray = features
Require browser.ShowModeless(0), "showing the browser"
For i = 1 To 10
    Require browser.DoEvents(), "handling messages"
Next
Set list = CreateObject("VexKamCOMWrapper.VexPropertyList")
Require browser.Save(list), "saving the browser"
Expect "a saved visibility", ValueIn(list, "BrowserVisibility"), "Guru"
Expect "a saved order", ValueIn(list, "BrowserOrder"), "Tree"
browser.Visibility = 0
Require browser.Load(list), "loading the browser"
Expect "the loaded visibility", browser.Visibility, LevelGuru
Require browser.Close(), "closing the browser"
Set browser = Nothing

' ---- several arrays ----

Dim tabs, index, name, first, again
Set tabs = CreateObject("VexKamCOMWrapper.VexGenBrowserTabbedWnd")
Expect "tabs at first", CDbl(tabs.ParameterArrayCount), 0
Require tabs.AddGenParameterArray(features, "Camera", index), "adding the camera"
Expect "the first index", CDbl(index), 0
Require tabs.AddGenParameterArray(device.GenLink, "Link", index), "adding the link"
Expect "the second index", CDbl(index), 1
Set first = tabs.GetGenParameterArray(0)
Set again = tabs.GetGenParameterArray(0)
Expect "whether an index gives one object", first Is again, True
Expect "whether another index gives another", tabs.GetGenParameterArray(1) Is first, False
Expect "features of a tab", CDbl(first.Count), CDbl(features.Count)
Expect "an index that there is not", tabs.GetGenParameterArray(2) Is Nothing, True
Require tabs.GetParameterArrayName(1, name), "reading a name"
Expect "name", name, "Link"
Require tabs.SetParameterArrayName(1, "Connection"), "renaming a tab"
tabs.Visibility = LevelExpert
Require tabs.ShowModeless(0), "showing the tabs"
Require tabs.DoEvents(), "handling messages"
Require tabs.RemoveGenParameterArray(0), "removing a tab"
Require tabs.GetParameterArrayName(0, name), "reading a name"
Expect "name after a removal", name, "Connection"
If tabs.RemoveGenParameterArray(1).IsOK Then Fail "a tab that there is not was removed"
tabs.Reset
Expect "tabs in the end", CDbl(tabs.ParameterArrayCount), 0
Require tabs.Close(), "closing the tabs"
Require device.Disconnect(), "disconnecting"
WScript.Echo "Done."
WScript.Quit 0

Function ValueIn(properties, wanted)
    Dim at
    ValueIn = ""
    For at = 0 To CLng(CDbl(properties.Size)) - 1
        If properties.GetItem(at).Name = wanted Then ValueIn = properties.GetItem(at).Value
    Next
End Function

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
