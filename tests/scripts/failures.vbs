' What a script reads in Err when a call itself fails: the number, the class and which argument or object is to blame.
Option Explicit

Const PointerWrong = &H80004003       ' E_POINTER
Const ArgumentWrong = &H80070057      ' E_INVALIDARG
Const Raised = &H80020009             ' DISP_E_EXCEPTION

Dim buffer, image, converter, filter
Set buffer = CreateObject("VexKamCOMWrapper.VexBuffer")
Set image = CreateObject("VexKamCOMWrapper.VexImage")
Set converter = CreateObject("VexKamCOMWrapper.VexBufferConverter")
Set filter = CreateObject("VexKamCOMWrapper.VexFilterRGB")

On Error Resume Next

converter.Convert Nothing, buffer, False
ExpectError "converting nothing", PointerWrong, "VexBufferConverter", "Argument 1 is nothing where an IVexBuffer is wanted"

filter.Apply Nothing
ExpectError "filtering nothing", PointerWrong, "VexFilterRGB", "Argument 1 is nothing where an IVexBuffer is wanted"

Dim width
width = image.Width
ExpectError "an image of no buffer", PointerWrong, "VexImage", "This VexImage is not attached to anything"

Dim square(1, 1)
buffer.Data = square
ExpectError "a square of bytes", ArgumentWrong, "VexBuffer", "The array does not have exactly one dimension"

Dim window
Set window = CreateObject("VexKamCOMWrapper.VexGenBrowserWnd")
window.Visibility = 999
ExpectError "a visibility that there is not", Raised, "VexGenBrowserWnd", "There is no visibility 999"

' an image whose buffer has gone
Dim left_over
Set left_over = buffer.Image
Set buffer = Nothing
width = left_over.Width
ExpectError "an image of a buffer that went", PointerWrong, "VexImage", "This VexImage is not attached to anything"

On Error GoTo 0
WScript.Echo "Done."
WScript.Quit 0

Sub ExpectError(what, number, class_name, text)
    Dim found, source, description
    found = Err.Number
    source = Err.Source
    description = Err.Description
    Err.Clear
    Expect what & ": number", Hex(found), Hex(number)
    Expect what & ": source", source, "VexKamCOMWrapper." & class_name & ".1"
    Expect what & ": text", description, text
End Sub

Sub Expect(what, found, wanted)
    If CStr(found) = CStr(wanted) Then Exit Sub
    WScript.Echo "Failed: " & what & " is '" & found & "', not '" & wanted & "'"
    WScript.Quit 1
End Sub
