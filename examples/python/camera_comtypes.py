"""Camera: finds a camera, sets features, streams images, saves one as a bitmap, shows events and errors.

    python camera_comtypes.py [IP-ADDRESS [FOLDER]]

IP-ADDRESS picks a camera (default, or "any": the first one found). FOLDER takes camera.bmp (default: the current one).
Ends with 0 and the line "Done." when every step succeeded, with 1 when one failed. Needs 64-bit Python on Windows with
comtypes (pip install comtypes) and the server registered.

Not run here: there was no Python for Windows where it was written.

comtypes calls the interfaces themselves and not by name. A method returns what it gives by its parameters, in their
order, so its result object comes last. Methods that can fail return a result object; only property setters raise errors.
"""
import os
import sys

import comtypes.client

LIBRARY = "VexKamCOMWrapper."
ACCESS_CONTROL = 1  # VexAccessControl
PIXEL_WIN_BGR24 = 0x02188004  # VexPixelWinBGR24
FORMAT_BMP = 0  # VexBufferFormatBMP
EVERY_NETWORK_CARRIES = 1440  # bytes, for cameras that send no test packets
FRAMES, BUFFERS, TIMEOUT = 20, 8, 5000


def create(name):
    return comtypes.client.CreateObject(LIBRARY + name)


def require(result, what):
    if not result.IsOK:
        sys.exit(f"Failed: {what}: {result.Description} (code {result.Code})")


# Events: an object with a method for each. It is called on a thread of the server.


class SystemEvents:
    def OnDeviceFound(self, interface, info, ignore):
        print(f"Event: found {info.Model} at {info.IPAddress}")


class DeviceEvents:
    def OnLinkDisconnected(self, device):
        print("Event: the connection was lost")


class WidthEvents:
    updates = 0

    def OnParameterUpdate(self, parameter):
        self.updates += 1


def search():
    system = create("VexSystem")
    connection = comtypes.client.GetEvents(system, SystemEvents())  # listens as long as it is kept
    require(system.Find(), "searching for cameras")
    del connection
    for i in range(system.InterfaceCount):
        if system.GetInterface(i).DeviceCount > 0:
            return system.GetInterface(i).GetDeviceInfo(0).IPAddress
    return ""


def set_features(features):
    width = features.GetInteger("Width")
    events = WidthEvents()
    connection = comtypes.client.GetEvents(width, events)
    require(features.SetEnumValueStr("PixelFormat", "BayerRG8"), "setting PixelFormat")
    require(features.SetIntegerValue("Width", 320), "setting Width")
    width.Value = 640
    require(features.SetIntegerValue("Height", 480), "setting Height")
    del connection
    value, result = features.GetIntegerValue("Width")
    require(result, "reading Width")
    print(f"Event: Width has changed, {events.updates} times; it is {value}")


def show_errors(features):
    outcome = features.SetIntegerValue("NoSuchFeature", 1)
    print(f"As expected: code {outcome.Code}: {outcome.Description}")
    try:
        features.GetInteger("Width").Value = -1
    except comtypes.COMError as refusal:
        text, source = refusal.details[:2]
        print(f"As expected: {source}: {text}")
    else:
        sys.exit("Failed: a Width of -1 was taken")


def lock_settings(features, locked):
    """Cameras that have it want it set while they send. A null pointer is false."""
    if features.GetInteger("TLParamsLocked"):
        require(features.SetIntegerValue("TLParamsLocked", locked), "locking the settings")


def save(buffer, path):
    picture = create("VexBuffer")
    image = buffer.Image
    require(picture.Image.Alloc(image.Width, image.Height, PIXEL_WIN_BGR24, 0, 0), "allocating the picture")
    require(create("VexBufferConverter").Convert(buffer, picture, True), "converting the image")
    require(create("VexBufferWriter").Store(picture, path, FORMAT_BMP), f"saving {path}")
    print(f"Saved {path}")


def take_images(features, stream, path):
    payload_size, result = features.GetIntegerValue("PayloadSize")
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
        buffer, operation, result = pipeline.RetrieveNextBuffer(TIMEOUT)
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
    connection = comtypes.client.GetEvents(device, DeviceEvents())
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
    del connection
    print("Done.")


if __name__ == "__main__":
    main()
