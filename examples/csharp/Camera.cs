// Camera: finds a camera, sets features, streams images, saves one as a bitmap, shows events and errors.
//
//   Camera [IP-ADDRESS [FOLDER]]
//
// IP-ADDRESS picks a camera (default, or "any": the first one found). FOLDER takes camera.bmp (default: the current one).
// Ends with 0 and the line "Done." when every step succeeded, with 1 when one failed.
//
// Not run here: there was no .NET for Windows where it was written. Camera.csproj says how it is built.
//
// Early bound, by the interop assembly. Methods that can fail return a result object; only property setters throw. Events
// come on threads of the server.
using System;
using System.IO;
using System.Runtime.InteropServices;
using VexKamCOMWrapperLib;

namespace CameraExample
{
    internal sealed class Failure : Exception
    {
        public Failure(string text) : base(text) { }
    }

    internal static class Program
    {
        private const uint EveryNetworkCarries = 1440;  // bytes, for cameras that send no test packets
        private const int FrameCount = 20;
        private const uint BufferCount = 8;

        [STAThread]
        private static int Main(string[] arguments)
        {
            try
            {
                var address = arguments.Length > 0 ? arguments[0] : "any";
                Run(address, arguments.Length > 1 ? arguments[1] : Directory.GetCurrentDirectory());
                Console.WriteLine("Done.");
                return 0;
            }
            catch (Exception problem) when (problem is Failure || problem is COMException)
            {
                Console.WriteLine("Failed: " + problem.Message);
                return 1;
            }
        }

        private static void Require(IVexResult result, string what)
        {
            if (!result.IsOK)
            {
                throw new Failure($"{what}: {result.Description} (code {(int)result.Code})");
            }
        }

        private static void Run(string address, string folder)
        {
            var first = Search();
            address = address == "any" ? first : address;
            if (address == "")
            {
                throw new Failure("no camera was found");
            }
            var device = new VexDevice();
            device.OnLinkDisconnected += lost => Console.WriteLine("Event: the connection was lost");
            Require(device.ConnectString(address, VexAccessType.VexAccessControl), "connecting to " + address);
            try
            {
                var features = device.GenParameters;
                Console.WriteLine($"Connected to {address}, {features.Count} features");
                SetFeatures(features);
                ShowErrors(features);
                var stream = new VexStream();
                Require(stream.OpenUnicast(address, 0, 0, ""), "opening the stream");
                Require(device.NegotiatePacketSize(0, EveryNetworkCarries), "negotiating the packet size");
                Require(device.SetStreamDestination(stream.LocalIPAddress, stream.LocalPort, 0), "setting the destination");
                TakeImages(features, stream, Path.Combine(folder, "camera.bmp"));
                Require(device.ResetStreamDestination(0), "resetting the destination");
                Require(stream.Close(), "closing the stream");
            }
            finally
            {
                // not left to the garbage collector: the camera is free for others at once
                device.Disconnect();
            }
        }

        private static string Search()
        {
            var system = new VexSystem();
            system.OnDeviceFound += Found;
            Require(system.Find(), "searching for cameras");
            for (uint i = 0; i < system.InterfaceCount; i++)
            {
                var network = system.GetInterface(i);
                if (network.DeviceCount > 0)
                {
                    return network.GetDeviceInfo(0).IPAddress;
                }
            }
            return "";
        }

        // Whoever sets ignore leaves the camera out.
        private static void Found(IVexInterface network, IVexDeviceInfo info, ref bool ignore)
        {
            Console.WriteLine($"Event: found {info.Model} at {info.IPAddress}");
        }

        private static void SetFeatures(IVexGenParameterArray features)
        {
            var updates = 0;
            var width = features.GetInteger("Width");
            var events = (_IVexGenParameterEvents_Event)width;
            _IVexGenParameterEvents_OnParameterUpdateEventHandler count = parameter => updates++;
            events.OnParameterUpdate += count;
            Require(features.SetEnumValueStr("PixelFormat", "BayerRG8"), "setting PixelFormat");
            Require(features.SetIntegerValue("Width", 320), "setting Width");
            width.Value = 640;
            Require(features.SetIntegerValue("Height", 480), "setting Height");
            events.OnParameterUpdate -= count;
            Require(features.GetIntegerValue("Width", out var value), "reading Width");
            Console.WriteLine($"Event: Width has changed, {updates} times; it is {value}");
        }

        // A method tells its failure by its result object, a property by an exception.
        private static void ShowErrors(IVexGenParameterArray features)
        {
            var outcome = features.SetIntegerValue("NoSuchFeature", 1);
            Console.WriteLine($"As expected: code {(int)outcome.Code}: {outcome.Description}");
            try
            {
                features.GetInteger("Width").Value = -1;
            }
            catch (COMException refusal)
            {
                Console.WriteLine($"As expected: {refusal.Source}: {refusal.Message}");
                return;
            }
            throw new Failure("a Width of -1 was taken");
        }

        // Cameras that have it want it set while they send.
        private static void LockSettings(IVexGenParameterArray features, int locked)
        {
            if (features.GetInteger("TLParamsLocked") != null)
            {
                Require(features.SetIntegerValue("TLParamsLocked", locked), "locking the settings");
            }
        }

        private static void TakeImages(IVexGenParameterArray features, VexStream stream, string path)
        {
            Require(features.GetIntegerValue("PayloadSize", out var payloadSize), "reading PayloadSize");
            // the stream comes first: size and count belong to the pipeline on it
            var pipeline = new VexPipeline();
            pipeline.StreamBase = (IVexStreamBase)stream;
            pipeline.BufferSize = (uint)payloadSize;
            pipeline.BufferCount = BufferCount;
            Require(pipeline.Start(), "starting the pipeline");
            LockSettings(features, 1);
            Require(features.ExecuteCommand("AcquisitionStart"), "starting the acquisition");
            var damaged = 0;
            for (var frame = 1; frame <= FrameCount; frame++)
            {
                Require(pipeline.RetrieveNextBuffer(out var buffer, 5000, out var operation), $"retrieving image {frame}");
                damaged += operation.IsOK ? 0 : 1;
                if (frame == FrameCount)
                {
                    Save(buffer, path);
                }
                Require(pipeline.ReleaseBuffer(buffer), "giving the buffer back");
            }
            Require(features.ExecuteCommand("AcquisitionStop"), "stopping the acquisition");
            LockSettings(features, 0);
            Require(pipeline.Stop(), "stopping the pipeline");
            Console.WriteLine($"{FrameCount} images, {damaged} damaged");
        }

        private static void Save(IVexBuffer buffer, string path)
        {
            var picture = new VexBuffer();
            var image = buffer.Image;
            Require(picture.Image.Alloc(image.Width, image.Height, VexPixelType.VexPixelWinBGR24, 0, 0), "allocating");
            Require(new VexBufferConverter().Convert((VexBuffer)buffer, picture, true), "converting the image");
            Require(new VexBufferWriter().Store(picture, path, VexBufferFormatType.VexBufferFormatBMP), "saving " + path);
            Console.WriteLine("Saved " + path);
        }
    }
}
