function camera(address, folder)
%CAMERA Finds a camera, sets features, streams images, saves one as a bitmap, shows events and errors.
%
%   camera                        the first camera found
%   camera('192.168.1.10')        the camera at an address
%   camera('any', 'C:\Temp')      FOLDER takes camera.bmp (default: the current one)
%
%   Not run here: there was no MATLAB where it was written. For 64-bit MATLAB on Windows with the server registered.
%
%   A method returns its result first, then what it gives by its parameters. Methods that can fail return a result object;
%   setting a property raises an error. methods(object, '-full') shows how each is called.

if nargin < 1, address = 'any'; end
if nargin < 2, folder = pwd; end

device = actxserver('VexKamCOMWrapper.VexDevice');
% whatever happens, the camera is free for others at the end
leave = onCleanup(@() device.Disconnect());
registerevent(device, {'OnLinkDisconnected', @(varargin) fprintf('Event: the connection was lost\n')});

first = search();
if strcmp(address, 'any'), address = first; end
if isempty(address), error('camera:none', 'no camera was found'); end
require(device.ConnectString(address, 1), ['connecting to ' address]);  % VexAccessControl
features = device.GenParameters;
fprintf('Connected to %s, %d features\n', address, features.Count);

setFeatures(features);
showErrors(features);

stream = actxserver('VexKamCOMWrapper.VexStream');
require(stream.OpenUnicast(address, 0, 0, ''), 'opening the stream');
everyNetworkCarries = 1440;  % bytes, for cameras that send no test packets
require(device.NegotiatePacketSize(0, everyNetworkCarries), 'negotiating the packet size');
require(device.SetStreamDestination(stream.LocalIPAddress, stream.LocalPort, 0), 'setting the destination');
takeImages(features, stream, fullfile(folder, 'camera.bmp'));
require(device.ResetStreamDestination(0), 'resetting the destination');
require(stream.Close(), 'closing the stream');
fprintf('Done.\n');
end

function require(result, what)
if ~result.IsOK
    error('camera:failed', '%s: %s (code %d)', what, result.Description, result.Code);
end
end

function address = search()
address = '';
system = actxserver('VexKamCOMWrapper.VexSystem');
registerevent(system, {'OnDeviceFound', @deviceFound});
require(system.Find(), 'searching for cameras');
for i = 0:double(system.InterfaceCount) - 1
    network = system.GetInterface(i);
    if isempty(address) && network.DeviceCount > 0
        address = network.GetDeviceInfo(0).IPAddress;
    end
end
end

function deviceFound(varargin)
% the event's arguments by name are in the last but one
arguments = varargin{end - 1};
fprintf('Event: found %s at %s\n', arguments.aDeviceInfo.Model, arguments.aDeviceInfo.IPAddress);
end

function setFeatures(features)
width = features.GetInteger('Width');
registerevent(width, {'OnParameterUpdate', @(varargin) fprintf('Event: Width has changed\n')});
require(features.SetEnumValueStr('PixelFormat', 'BayerRG8'), 'setting PixelFormat');
require(features.SetIntegerValue('Width', 320), 'setting Width');
width.Value = int64(640);
require(features.SetIntegerValue('Height', 480), 'setting Height');
unregisterallevents(width);
fprintf('Width is %d\n', integer(features, 'Width'));
end

function value = integer(features, name)
[result, value] = features.GetIntegerValue(name);
require(result, ['reading ' name]);
end

function showErrors(features)
% a method tells its failure by its result object, a property by an error
outcome = features.SetIntegerValue('NoSuchFeature', 1);
fprintf('As expected: code %d: %s\n', outcome.Code, outcome.Description);
width = features.GetInteger('Width');
try
    width.Value = int64(-1);
catch refusal
    fprintf('As expected: %s\n', refusal.message);
    return
end
error('camera:taken', 'a Width of -1 was taken');
end

function lockSettings(features, locked)
% cameras that have it want it set while they send
if ~isempty(features.GetInteger('TLParamsLocked'))
    require(features.SetIntegerValue('TLParamsLocked', locked), 'locking the settings');
end
end

function takeImages(features, stream, path)
% the stream comes first: size and count belong to the pipeline on it
frames = 20;
pipeline = actxserver('VexKamCOMWrapper.VexPipeline');
pipeline.StreamBase = stream;
pipeline.BufferSize = integer(features, 'PayloadSize');
pipeline.BufferCount = 8;
require(pipeline.Start(), 'starting the pipeline');
lockSettings(features, 1);
require(features.ExecuteCommand('AcquisitionStart'), 'starting the acquisition');
damaged = 0;
for frame = 1:frames
    [result, buffer, operation] = pipeline.RetrieveNextBuffer(5000);
    require(result, sprintf('retrieving image %d', frame));
    if ~operation.IsOK, damaged = damaged + 1; end
    if frame == frames
        save_picture(buffer, path);
        show(buffer);
    end
    require(pipeline.ReleaseBuffer(buffer), 'giving the buffer back');
end
require(features.ExecuteCommand('AcquisitionStop'), 'stopping the acquisition');
lockSettings(features, 0);
require(pipeline.Stop(), 'stopping the pipeline');
fprintf('%d images, %d damaged\n', frames, damaged);
end

function save_picture(buffer, path)
picture = actxserver('VexKamCOMWrapper.VexBuffer');
converter = actxserver('VexKamCOMWrapper.VexBufferConverter');
writer = actxserver('VexKamCOMWrapper.VexBufferWriter');
image = buffer.Image;
pixelWinBGR24 = hex2dec('02188004');
require(picture.Image.Alloc(image.Width, image.Height, pixelWinBGR24, 0, 0), 'allocating the picture');
require(converter.Convert(buffer, picture, true), 'converting the image');
require(writer.Store(picture, path, 0), ['saving ' path]);  % VexBufferFormatBMP
fprintf('Saved %s\n', path);
end

function show(buffer)
% the bytes as a matrix; 8 bits a pixel, line by line
image = buffer.Image;
pixels = reshape(uint8(image.Data), image.Width, image.Height)';
fprintf('Mean of the raw pixels: %.1f\n', mean(double(pixels(:))));
end
