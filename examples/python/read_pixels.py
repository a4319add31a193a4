"""Makes an image, saves it as a bitmap and computes with the bytes of its property Data.

    python read_pixels.py [FOLDER]

FOLDER takes read_pixels.bmp (default: the current folder). Needs 64-bit Python on Windows with pywin32
(pip install pywin32) and the server registered. Not run here: there was no Python for
Windows where it was written.

Methods that can fail return a result object; only property setters raise errors. Truth is 1.
"""
import os
import sys

import win32com.client

PIXEL_MONO8 = 0x01080001  # VexPixelMono8
PIXEL_WIN_RGB24 = 0x02188002  # VexPixelWinRGB24
FORMAT_BMP = 0  # VexBufferFormatBMP
WIDTH, HEIGHT = 320, 240


def require(result, what):
    if not result.IsOK:
        sys.exit(f"Failed: {what}: {result.Description} (code {result.Code})")


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.getcwd()

    # An image: Data takes any bytes-like object. What arrives from a camera is read in the same way.
    buffer = win32com.client.Dispatch("VexKamCOMWrapper.VexBuffer")
    image = buffer.Image
    require(image.Alloc(WIDTH, HEIGHT, PIXEL_MONO8, 0, 0), "allocating an image")
    image.Data = memoryview(bytes((x + y) % 256 for y in range(HEIGHT) for x in range(WIDTH)))

    # Data is a copy of the bytes. With NumPy: numpy.frombuffer(pixels, numpy.uint8).reshape(HEIGHT, WIDTH)
    pixels = bytes(image.Data)
    lines = [pixels[y * WIDTH : (y + 1) * WIDTH] for y in range(image.Height)]
    print(f"{image.Width} x {image.Height} pixels, mean {sum(pixels) / len(pixels):.1f}, "
          f"first line {lines[0][:4].hex(' ')} ...")

    # Converted to colours and saved.
    picture = win32com.client.Dispatch("VexKamCOMWrapper.VexBuffer")
    require(picture.Image.Alloc(WIDTH, HEIGHT, PIXEL_WIN_RGB24, 0, 0), "allocating the picture")
    converter = win32com.client.Dispatch("VexKamCOMWrapper.VexBufferConverter")
    require(converter.Convert(buffer, picture, True), "converting")
    writer = win32com.client.Dispatch("VexKamCOMWrapper.VexBufferWriter")
    path = os.path.join(folder, "read_pixels.bmp")
    require(writer.Store(picture, path, FORMAT_BMP), f"saving {path}")
    print(f"Saved {path}")


if __name__ == "__main__":
    main()
