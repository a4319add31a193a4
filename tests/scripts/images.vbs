' Images as a script makes them: allocates one, writes its pixels as an array, converts it, filters it and saves it.
'
'   cscript images.vbs FOLDER
'
' FOLDER takes images.bmp and images.raw.
Option Explicit

Const PayloadTypeRawData = 2          ' VexPayloadTypeRawData
Const PixelMono8 = &H01080001         ' VexPixelMono8
Const PixelBayerRG8 = &H01080009      ' VexPixelBayerRG8
Const PixelRGB8 = &H02180014          ' VexPixelRGB8Packed
Const BayerFilter3X3 = 2              ' VexBayerFilter3X3
Const FormatBMP = 0                   ' VexBufferFormatBMP
Const FormatRaw = 1                   ' VexBufferFormatRaw
Const ImageWidth = 5
Const ImageHeight = 4

Dim folder, files
folder = WScript.Arguments(0)
Set files = CreateObject("Scripting.FileSystemObject")

' ---- an image, pixel by pixel ----

Dim source, image, again
Set source = CreateObject("VexKamCOMWrapper.VexBuffer")
Expect "payload type of a new buffer", source.PayloadType, 1
Expect "size of a new buffer", source.Size, 0
Set image = source.Image
Require image.Alloc(ImageWidth, ImageHeight, PixelBayerRG8, 0, 0), "allocating an image"
Expect "width", image.Width, ImageWidth
Expect "height", image.Height, ImageHeight
Expect "bits per pixel", image.BitsPerPixel, 8
Expect "image size", image.ImageSize, 20
Set again = source.Image
Expect "the image read again", again Is image, True

' a red scene: only the red pixels, at even columns of even lines, are bright
Dim pixels(19), x, y
For y = 0 To ImageHeight - 1
    For x = 0 To ImageWidth - 1
        pixels(y * ImageWidth + x) = 0
        If x Mod 2 = 0 And y Mod 2 = 0 Then pixels(y * ImageWidth + x) = 200
    Next
Next
image.Data = pixels
source.ID = 42

' ---- converted ----

Dim converter, destination
Set converter = CreateObject("VexKamCOMWrapper.VexBufferConverter")
Expect "threads", converter.MaxNumberOfThreads, -1
converter.BayerFilterType = BayerFilter3X3
converter.MaxNumberOfThreads = 2
Expect "Bayer filter", converter.BayerFilterType, BayerFilter3X3
Expect "whether the conversion is supported", CInt(converter.IsConversionSupported(PixelBayerRG8, PixelRGB8)), 1
Set destination = CreateObject("VexKamCOMWrapper.VexBuffer")
Require destination.Image.Alloc(1, 1, PixelRGB8, 0, 0), "allocating the destination"
ExpectFailure converter.Convert(source, destination, False), "converting into an image that is too small"
Require converter.Convert(source, destination, True), "converting"
Expect "width of the destination", destination.Image.Width, ImageWidth
Expect "size of the destination", destination.Size, 60

' a setter has no result: what the SDK refuses is an error with the class as its source
On Error Resume Next
converter.BayerFilterType = 9
Expect "source of the error", Err.Source, "VexKamCOMWrapper.VexBufferConverter.1"
Expect "text of the error", Err.Description, "9 is not a Bayer filter"
On Error GoTo 0

' ---- balanced ----

Dim filter
Set filter = CreateObject("VexKamCOMWrapper.VexFilterRGB")
ExpectFailure filter.WhiteBalance(destination), "balancing an image without green"
filter.GainR = 0.5
filter.OffsetG = 10
Require filter.Apply(destination), "applying the filter"

' ---- saved ----

Dim writer
Set writer = CreateObject("VexKamCOMWrapper.VexBufferWriter")
Require writer.Store(destination, folder & "\images.bmp", FormatBMP), "storing a bitmap"
Expect "size of the bitmap", files.GetFile(folder & "\images.bmp").Size, 54 + 16 * ImageHeight
Expect "first letters of the bitmap", files.OpenTextFile(folder & "\images.bmp").Read(2), "BM"
Require writer.Store(destination, folder & "\images.raw", FormatRaw), "storing raw bytes"
Expect "size of the raw file", files.GetFile(folder & "\images.raw").Size, 60
' the upper left pixel: red 200 halved, green 10 more than nothing, blue none
Dim raw
raw = files.OpenTextFile(folder & "\images.raw").Read(3)
Expect "red", Asc(Mid(raw, 1, 1)), 100
Expect "green", Asc(Mid(raw, 2, 1)), 10
ExpectFailure writer.Store(destination, folder & "\no such folder\images.bmp", FormatBMP), "storing in no folder"

' ---- as raw data ----

source.PayloadType = PayloadTypeRawData
Expect "size as raw data", source.Size, 20
Expect "ID as raw data", source.ID, 42
Expect "payload length", source.RawData.PayloadLength, 20
Expect "image of raw data", source.Image Is Nothing, True
source.Data = Array(1, 2, 3)
destination.PayloadType = PayloadTypeRawData
destination.Data = source.Data          ' a byte array handed on whole

WScript.Echo "Done."
WScript.Quit 0

Sub Expect(what, found, wanted)
    If CStr(found) <> CStr(wanted) Then Fail what & " is " & CStr(found) & ", not " & CStr(wanted)
End Sub

Sub Require(result, what)
    If result.IsOK Then Exit Sub
    Fail what & ": " & result.Description
End Sub

Sub ExpectFailure(result, what)
    If result.IsFailure Then
        WScript.Echo "Refused as it should be: " & what & ": " & result.Description
        Exit Sub
    End If
    Fail what & " succeeded"
End Sub

Sub Fail(message)
    WScript.Echo "Failed: " & message
    WScript.Quit 1
End Sub
