' Saves a bitmap: makes an image pixel by pixel, turns it into colours and stores it. Needs no camera.
'
'   cscript save_bmp.vbs [FOLDER]
'
' FOLDER takes save_bmp.bmp (default: the current folder). Ends with 0 when every step succeeded, with 1 when one failed.
'
' Run in the tests, by cscript under Wine: ./run test scripts.
Option Explicit

Const PixelBayerRG8 = &H01080009       ' VexPixelBayerRG8
Const BayerFilter3X3 = 2               ' VexBayerFilter3X3
Const BufferFormatBMP = 0              ' VexBufferFormatBMP
Const ImageWidth = 64
Const ImageHeight = 48

Dim folder, path
folder = "."
If WScript.Arguments.Count > 0 Then folder = WScript.Arguments(0)
path = folder & "\save_bmp.bmp"

' An image as a colour sensor sees it: each pixel has one colour, and the first two lines begin red, green and green, blue.
' Red grows to the right, blue downwards, green is the same everywhere.
Dim pixels(3071), x, y                 ' ImageWidth * ImageHeight of them
For y = 0 To ImageHeight - 1
    For x = 0 To ImageWidth - 1
        If y Mod 2 = 0 And x Mod 2 = 0 Then
            pixels(y * ImageWidth + x) = x * 4
        ElseIf y Mod 2 = 1 And x Mod 2 = 1 Then
            pixels(y * ImageWidth + x) = y * 5
        Else
            pixels(y * ImageWidth + x) = 60
        End If
    Next
Next

Dim buffer
Set buffer = CreateObject("VexKamCOMWrapper.VexBuffer")
Require buffer.Image.Alloc(ImageWidth, ImageHeight, PixelBayerRG8, 0, 0), "allocating the image"
buffer.Data = pixels

' The writer converts what a bitmap cannot hold. Its converter is there to be set up first.
Dim writer
Set writer = CreateObject("VexKamCOMWrapper.VexBufferWriter")
writer.Converter.BayerFilterType = BayerFilter3X3
Require writer.Store(buffer, path, BufferFormatBMP), "saving " & path

WScript.Echo "Saved " & path
WScript.Echo "Done."
WScript.Quit 0

' Ends the script when an operation did not succeed. IsOK is 1 for true, not -1: never write "= True" or "Not".
Sub Require(result, what)
    If result.IsOK Then Exit Sub
    WScript.Echo "Failed: " & what & ": " & result.Description & " (code " & result.Code & ")"
    WScript.Quit 1
End Sub
