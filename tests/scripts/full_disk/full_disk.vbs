' Stores images on a disk that is too small for them: the result says so, the older file stays, and nothing else is left.
'
'   cscript full_disk.vbs FOLDER
'
' FOLDER stands on a disk of less than 200,000 bytes.
Option Explicit

Const PixelMono8 = &H01080001         ' VexPixelMono8
Const PixelRGB8 = &H02180014          ' VexPixelRGB8Packed
Const FormatBMP = 0                   ' VexBufferFormatBMP
Const FormatRaw = 1                   ' VexBufferFormatRaw
Const FileError = 16                  ' VexFileError

Dim folder, files, buffer, writer, result, format
folder = WScript.Arguments(0)
Set files = CreateObject("Scripting.FileSystemObject")
Set buffer = CreateObject("VexKamCOMWrapper.VexBuffer")
Set writer = CreateObject("VexKamCOMWrapper.VexBufferWriter")

Set result = buffer.Image.Alloc(10, 10, PixelMono8, 0, 0)
If result.IsFailure Then Fail "allocating a small image: " & result.Description
Set result = writer.Store(buffer, folder & "\image", FormatRaw)
If result.IsFailure Then Fail "a small image: " & result.Description

Set result = buffer.Image.Alloc(300, 300, PixelRGB8, 0, 0)
If result.IsFailure Then Fail "allocating a large image: " & result.Description
For Each format In Array(FormatBMP, FormatRaw)
    Set result = writer.Store(buffer, folder & "\image", format)
    If result.IsOK Then Fail "a large image was stored"
    WScript.Echo "Refused as it should be: " & result.Description
    If CLng(result.Code) <> FileError Then Fail "the code is " & result.Code
    If InStr(result.Description, "No space left") = 0 Then Fail "the reason is missing"
    If files.GetFile(folder & "\image").Size <> 100 Then Fail "the older file has changed"
    If files.FileExists(folder & "\image.0.tmp") Then Fail "the half-written file was left"
Next

WScript.Echo "Done."
WScript.Quit 0

Sub Fail(message)
    WScript.Echo "Failed: " & message
    WScript.Quit 1
End Sub
