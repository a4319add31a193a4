"""Camera: finds a camera, sets features, streams images, saves one as a bitmap, shows events and errors.

    python camera_pywin32.py [IP-ADDRESS [FOLDER]]

IP-ADDRESS picks a camera (default, or "any": the first one found). FOLDER takes camera.bmp (default: the current one).
Ends with 0 and the line "Done." when every step succeeded, with 1 when one failed. Needs 64-bit Python on Windows with
pywin32 (pip install pywin32) and the server registered.

Not run here: there was no Python for Windows where it was written.

EnsureDispatch makes classes of the type library's interfaces at its first use. With them a method returns a tuple: its
result first, then what it gives by its other parameters. Methods that can fail return a result object; only property
setters raise errors. Truth is 1. Counts are ints as any others.
"""
import os
import sys

import pythoncom
import pywintypes
import win32com.client

LIBRARY = "VexKamCOMWrapper."
ACCESS_CONTROL = 1  # VexAccessControl
PIXEL_WIN_BGR24 = 0x02188004  # VexPixelWinBGR24
FORMAT_BMP = 0  # VexBufferFormatBMP
EVERY_NETWORK_CARRIES = 1440  # bytes, for cameras that send no test packets
FRAMES, BUFFERS, TIMEOUT = 20, 8, 5000


def create(name):
    return win32com.client.gencache.EnsureDispatch(LIBRARY + name)


def require(result, what):
    if not result.IsOK:
        sys.exit(f"Failed: {what}: {result.Description} (code {result.Code})")


# Events: a class with a method for each, On + the event's name. It is called on a thread of the server.


class SystemEvents:
    # the search takes the value that is returned for aIgnore: True leaves the camera out
    def OnOnDeviceFound(self, interface, info, ignore):
        info = win32com.client.Dispatch(info)
        print(f"Event: found {info.Model} at {info.IPAddress}")
        return ignore


class DeviceEvents:
    def OnOnLinkDisconnected(self, device):
        print("Event: the connection was lost")


class WidthEvents:
    updates = 0

    def OnOnParameterUpdate(self, parameter):
        WidthEvents.updates += 1


def search():
    system = create("VexSystem")
    events = win32com.client.WithEvents(system, SystemEvents)
    require(system.Find(), "searching for cameras")
    events.close()
    for i in range(system.InterfaceCount):
        if system.GetInterface(i).DeviceCount > 0:
            return system.GetInterface(i).GetDeviceInfo(0).IPAddress
    return ""


def set_features(features):
    width = features.GetInteger("Width")
    events = win32com.client.WithEvents(width, WidthEvents)
    require(features.SetEnumValueStr("PixelFormat", "BayerRG8"), "setting PixelFormat")
    require(features.SetIntegerValue("Width", 320), "setting Width")
    width.Value = 640
    require(features.SetIntegerValue("Height", 480), "setting Height")
    events.close()
    result, value = features.GetIntegerValue("Width")
    require(result, "reading Width")
    print(f"Event: Width has changed, {WidthEvents.updates} times; it is {value}")


def show_errors(features):
    outcome = features.SetIntegerValue("NoSuchFeature", 1)
    print(f"As expected: code {outcome.Code}: {outcome.Description}")
    try:
        features.GetInteger("Width").Value = -1
    except pywintypes.com_error as refusal:
        _, source, text = refusal.excepinfo[:3]
        print(f"As expected: {source}: {text}")
    else:
        sys.exit("Failed: a Width of -1 was taken")


def lock_settings(features, locked):
    """Cameras that have it want it set while they send."""
    if features.GetInteger("TLParamsLocked") is not None:
        require(features.SetIntegerValue("TLParamsLocked", locked), "locking the settings")


def save(buffer, path):
    picture = create("VexBuffer")
    image = buffer.Image
    require(picture.Image.Alloc(image.Width, image.Height, PIXEL_WIN_BGR24, 0, 0), "allocating the picture")
    require(create("VexBufferConverter").Convert(buffer, picture, True), "converting the image")
    require(create("VexBufferWriter").Store(picture, path, FORMAT_BMP), f"saving {path}")
    print(f"Saved {path}")


def take_images(features, stream, path):
    result, payload_size = features.GetIntegerValue("PayloadSize")
    require(result, "reading PayloadSize")
    # the stream comes first: size and count belong to the pipeline on it
    pipeline = create("VexPipeline")
    pipeline.StreamBase = stream
    pipeline.BufferSize = payload_size
    pipeline.BufferCount = BUFFERS
    require(pipeline.Start(), "starting the pipeline")
    lock_settings(features, 1)
    require(features.ExecuteCommand("AcquisitionStart"), "starting the acquisition")
    damaged = 0
    for frame in range(1, FRAMES + 1):
        # aTimeout stands between two outputs, so it is named
        result, buffer, operation = pipeline.RetrieveNextBuffer(aTimeout=TIMEOUT)
        require(result, f"retrieving image {frame}")
        damaged += 0 if operation.IsOK else 1
        if frame == FRAMES:
            save(buffer, path)
        require(pipeline.ReleaseBuffer(buffer), "giving the buffer back")
    require(features.ExecuteCommand("AcquisitionStop"), "stopping the acquisition")
    lock_settings(features, 0)
    require(pipeline.Stop(), "stopping the pipeline")
    print(f"{FRAMES} images, {damaged} damaged")


def main():
    address = sys.argv[1] if len(sys.argv) > 1 else "any"
    folder = sys.argv[2] if len(sys.argv) > 2 else os.getcwd()
    first = search()
    address = first if address == "any" else address
    if not address:
        sys.exit("Failed: no camera was found")
    device = create("VexDevice")
    events = win32com.client.WithEvents(device, DeviceEvents)
    require(device.ConnectString(address, ACCESS_CONTROL), f"connecting to {address}")
    features = device.GenParameters
    print(f"Connected to {address}, {features.Count} features")
    set_features(features)
    show_errors(features)
    stream = create("VexStream")
    require(stream.OpenUnicast(address, 0, 0, ""), "opening the stream")
    require(device.NegotiatePacketSize(0, EVERY_NETWORK_CARRIES), "negotiating the packet size")
    require(device.SetStreamDestination(stream.LocalIPAddress, stream.LocalPort, 0), "setting the destination")
    take_images(features, stream, os.path.join(folder, "camera.bmp"))
    require(device.ResetStreamDestination(0), "resetting the destination")
    require(stream.Close(), "closing the stream")
    require(device.Disconnect(), "disconnecting")
    events.close()
    print("Done.")


if __name__ == "__main__":
    pythoncom.CoInitialize()
    main()
