// Camera: finds a camera, sets features, streams images, saves one as a bitmap, shows events and errors.
//
//   cscript camera.js [IP-ADDRESS [FOLDER]]
//
// IP-ADDRESS picks a camera (default, or "any": the first one found). FOLDER takes camera.bmp (default: the current one).
// Ends with 0 and the line "Done." when every step succeeded, with 1 when one failed.
//
// Run in the tests, by cscript under Wine: ./run test scripts. Events are not: Wine's cscript connects none, and the script
// goes on without.
//
// JScript hands no variables over by reference, so what a method gives by its parameters is lost: null stands there. The
// script therefore keeps its own buffers, which the stream fills in their order. JScript has no 64-bit numbers either: the
// value of an integer feature can be set, but not read.

var AccessControl = 1; // VexAccessControl
var PixelWinBGR24 = 0x02188004; // VexPixelWinBGR24
var BufferFormatBMP = 0; // VexBufferFormatBMP
var EveryNetworkCarries = 1440; // bytes, for cameras that send no test packets
var FrameCount = 20;
var BufferCount = 8;
var Width = 640, Height = 480;

var system, device, features, stream, width, folder;

function fail(text) {
    WScript.Echo("Failed: " + text);
    WScript.Quit(1);
}

// Ends the script when an operation did not succeed.
function require(result, what) {
    if (!result.IsOK) {
        fail(what + ": " + result.Description + " (code " + result.Code + ")");
    }
}

function create(name) {
    return new ActiveXObject("VexKamCOMWrapper." + name);
}

// ---- events ----

// From now on the object's events call the functions of this script that begin with the prefix.
function listenTo(object, prefix) {
    try {
        WScript.ConnectObject(object, prefix);
    } catch (error) {
        WScript.Echo("This script host connects no events of " + prefix);
    }
}

function system_OnDeviceFound(networkInterface, info, ignore) {
    WScript.Echo("Event: found " + info.Model + " at " + info.IPAddress);
}

function device_OnLinkDisconnected(device) {
    WScript.Echo("Event: the connection was lost");
}

function width_OnParameterUpdate(parameter) {
    WScript.Echo("Event: " + parameter.Name + " has changed");
}

// ---- find a camera, connect ----

function search() {
    var found = "";
    system = create("VexSystem");
    listenTo(system, "system_");
    require(system.Find(), "searching for cameras");
    for (var i = 0; i < system.InterfaceCount && found == ""; i++) {
        if (system.GetInterface(i).DeviceCount > 0) {
            found = system.GetInterface(i).GetDeviceInfo(0).IPAddress;
        }
    }
    return found;
}

function connect(address) {
    device = create("VexDevice");
    listenTo(device, "device_");
    require(device.ConnectString(address, AccessControl), "connecting to " + address);
    features = device.GenParameters;
    WScript.Echo("Connected to " + address + ", " + features.Count + " features");
}

// ---- features ----

function setFeatures() {
    width = features.GetInteger("Width");
    listenTo(width, "width_");
    require(features.SetEnumValueStr("PixelFormat", "BayerRG8"), "setting PixelFormat");
    require(features.SetIntegerValue("Width", 320), "setting Width");
    width.Value = Width;
    require(features.SetIntegerValue("Height", Height), "setting Height");
    WScript.Echo("PixelFormat is " + features.GetEnum("PixelFormat").ValueStr);
}

// A method tells its failure by its result object, a property by an exception.
function showErrors() {
    var outcome = features.SetIntegerValue("NoSuchFeature", 1), refusal = "";
    if (outcome.IsOK) {
        fail("a feature that there is not was set");
    }
    WScript.Echo("As expected: code " + outcome.Code + ": " + outcome.Description);
    try {
        width.Value = -1;
    } catch (error) {
        refusal = error.message;
    }
    if (refusal == "") {
        fail("a Width of -1 was taken");
    }
    WScript.Echo("As expected: " + refusal);
}

// Cameras that have it want it set while they send.
function lockSettings(locked) {
    if (features.GetInteger("TLParamsLocked") != null) {
        require(features.SetIntegerValue("TLParamsLocked", locked), "locking the settings");
    }
}

// ---- images ----

function openStream(address) {
    stream = create("VexStream");
    require(stream.OpenUnicast(address, 0, 0, ""), "opening the stream");
    require(device.NegotiatePacketSize(0, EveryNetworkCarries), "negotiating the packet size");
    require(device.SetStreamDestination(stream.LocalIPAddress, stream.LocalPort, 0), "setting the stream's destination");
}

function save(buffer) {
    var picture = create("VexBuffer"), path = folder + "\\camera.bmp";
    require(picture.Image.Alloc(Width, Height, PixelWinBGR24, 0, 0), "allocating the picture");
    require(create("VexBufferConverter").Convert(buffer, picture, true), "converting the image");
    require(create("VexBufferWriter").Store(picture, path, BufferFormatBMP), "saving " + path);
    WScript.Echo("Saved " + path);
}

function takeImages() {
    var buffers = [], damaged = 0, i, buffer;
    for (i = 0; i < BufferCount; i++) {
        buffers[i] = create("VexBuffer");
        require(buffers[i].Alloc(Width * Height), "allocating a buffer"); // a byte a pixel
        require(stream.QueueBuffer(buffers[i]), "queueing a buffer");
    }
    lockSettings(1);
    require(features.ExecuteCommand("AcquisitionStart"), "starting the acquisition");
    for (i = 0; i < FrameCount; i++) {
        require(stream.RetrieveBuffer(null, null, 5000), "retrieving image " + (i + 1));
        buffer = buffers[i % BufferCount];
        if (!buffer.OperationResult.IsOK) {
            damaged++;
        }
        if (i + 1 == FrameCount) {
            save(buffer);
        } else {
            require(stream.QueueBuffer(buffer), "queueing a buffer");
        }
    }
    require(features.ExecuteCommand("AcquisitionStop"), "stopping the acquisition");
    lockSettings(0);
    WScript.Echo(FrameCount + " images, " + damaged + " damaged");
}

function leave() {
    require(stream.AbortQueuedBuffers(), "aborting the queue");
    while (stream.QueuedBufferCount > 0) {
        require(stream.RetrieveBuffer(null, null, 1000), "taking back a buffer");
    }
    require(device.ResetStreamDestination(0), "resetting the stream's destination");
    require(stream.Close(), "closing the stream");
    require(device.Disconnect(), "disconnecting");
}

function main(given) {
    var address = given.length > 0 ? given(0) : "any";
    folder = given.length > 1 ? given(1) : ".";
    var first = search();
    if (address == "any") {
        address = first;
    }
    if (address == "") {
        fail("no camera was found");
    }
    connect(address);
    setFeatures();
    showErrors();
    openStream(address);
    takeImages();
    leave();
    WScript.Echo("Done.");
}

main(WScript.Arguments);
WScript.Quit(0);
