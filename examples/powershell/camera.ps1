<#
.SYNOPSIS
Camera: finds a camera, sets features, streams images, saves one as a bitmap, shows events and errors.

.DESCRIPTION
Not run here: there was no PowerShell for Windows where it was written.

For 64-bit PowerShell on Windows with the server registered. Ends with 0 and the line "Done." when every step succeeded,
with 1 when one failed.

Counts arrive as unsigned .NET numbers, which compare and calculate as any others. What a method gives by its parameters
goes to a variable by [ref]. Methods that can fail return a result object; property setters raise errors.

PowerShell takes events of .NET classes only: tlbimp, a tool of the Windows SDK, makes them from the type library.

.PARAMETER Address
The camera's IP address (default, or "any": the first one found).

.PARAMETER Folder
Takes camera.bmp (default: the current one).

.PARAMETER Interop
What `tlbimp VexKamCOMWrapper.dll /machine:x64 /out:VexKamInterop.dll` made; without it the script listens to no events.
#>
param(
    [string]$Address = 'any',
    [string]$Folder = (Get-Location).Path,
    [string]$Interop = ''
)
$ErrorActionPreference = 'Stop'

$accessControl = 1               # VexAccessControl
$pixelWinBGR24 = 0x02188004      # VexPixelWinBGR24
$bufferFormatBMP = 0             # VexBufferFormatBMP
$everyNetworkCarries = 1440      # bytes, for cameras that send no test packets
$frameCount = 20
$bufferCount = 8

function New-Vex([string]$name) { New-Object -ComObject "VexKamCOMWrapper.$name" }

# Ends the script when an operation did not succeed.
function Assert-Ok($result, [string]$what) {
    if (-not $result.IsOK) { throw "${what}: $($result.Description) (code $([int]$result.Code))" }
}

# Events wait until they are asked for: Show-Events prints those that came.
function Watch-Events($object, [string]$name) {
    if ($Interop) { Register-ObjectEvent -InputObject $object -EventName $name -SourceIdentifier $name | Out-Null }
}

function Show-Events {
    foreach ($event in @(Get-Event)) {
        switch ($event.SourceIdentifier) {
            'OnDeviceFound' { "Event: found $($event.SourceArgs[1].Model) at $($event.SourceArgs[1].IPAddress)" }
            'OnLinkDisconnected' { 'Event: the connection was lost' }
        }
        Remove-Event -EventIdentifier $event.EventIdentifier
    }
}

function Find-First($system) {
    Assert-Ok $system.Find() 'searching for cameras'
    for ($i = 0; $i -lt $system.InterfaceCount; $i++) {
        $network = $system.GetInterface($i)
        if ($network.DeviceCount -gt 0) { return $network.GetDeviceInfo(0).IPAddress }
    }
    return ''
}

function Get-Integer($features, [string]$name) {
    [object]$value = [long]0
    Assert-Ok $features.GetIntegerValue($name, [ref]$value) "reading $name"
    return $value
}

# A method tells its failure by its result object, a property by an exception.
function Show-Errors($features) {
    $outcome = $features.SetIntegerValue('NoSuchFeature', 1)
    "As expected: code $([int]$outcome.Code): $($outcome.Description)"
    try { $features.GetInteger('Width').Value = -1; throw 'a Width of -1 was taken' }
    catch { "As expected: $($_.Exception.Message)" }
}

# Cameras that have it want it set while they send.
function Lock-Settings($features, [int]$locked) {
    if ($null -ne $features.GetInteger('TLParamsLocked')) {
        Assert-Ok $features.SetIntegerValue('TLParamsLocked', $locked) 'locking the settings'
    }
}

function Save-Picture($buffer, [string]$path) {
    $picture = New-Vex VexBuffer
    $image = $buffer.Image
    Assert-Ok $picture.Image.Alloc($image.Width, $image.Height, $pixelWinBGR24, 0, 0) 'allocating the picture'
    Assert-Ok (New-Vex VexBufferConverter).Convert($buffer, $picture, $true) 'converting the image'
    Assert-Ok (New-Vex VexBufferWriter).Store($picture, $path, $bufferFormatBMP) "saving $path"
    "Saved $path"
}

function Receive-Images($features, $stream, [string]$path) {
    # the stream comes first: size and count belong to the pipeline on it
    $pipeline = New-Vex VexPipeline
    $pipeline.StreamBase = $stream
    $pipeline.BufferSize = Get-Integer $features 'PayloadSize'
    $pipeline.BufferCount = $bufferCount
    Assert-Ok $pipeline.Start() 'starting the pipeline'
    Lock-Settings $features 1
    Assert-Ok $features.ExecuteCommand('AcquisitionStart') 'starting the acquisition'
    $damaged = 0
    for ($frame = 1; $frame -le $frameCount; $frame++) {
        [object]$buffer = $null
        [object]$operation = $null
        Assert-Ok $pipeline.RetrieveNextBuffer([ref]$buffer, 5000, [ref]$operation) "retrieving image $frame"
        if (-not $operation.IsOK) { $damaged++ }
        if ($frame -eq $frameCount) { Save-Picture $buffer $path }
        Assert-Ok $pipeline.ReleaseBuffer($buffer) 'giving the buffer back'
    }
    Assert-Ok $features.ExecuteCommand('AcquisitionStop') 'stopping the acquisition'
    Lock-Settings $features 0
    Assert-Ok $pipeline.Stop() 'stopping the pipeline'
    "$frameCount images, $damaged damaged"
}

$device = $null
try {
    if ($Interop) {
        Add-Type -Path $Interop
        $system = New-Object VexKamCOMWrapperLib.VexSystemClass
        $device = New-Object VexKamCOMWrapperLib.VexDeviceClass
    } else {
        $system = New-Vex VexSystem
        $device = New-Vex VexDevice
    }
    Watch-Events $system 'OnDeviceFound'
    Watch-Events $device 'OnLinkDisconnected'
    $first = Find-First $system
    Show-Events
    if ($Address -eq 'any') { $Address = $first }
    if (-not $Address) { throw 'no camera was found' }

    Assert-Ok $device.ConnectString($Address, $accessControl) "connecting to $Address"
    $features = $device.GenParameters
    "Connected to $Address, $($features.Count) features"

    Assert-Ok $features.SetEnumValueStr('PixelFormat', 'BayerRG8') 'setting PixelFormat'
    Assert-Ok $features.SetIntegerValue('Width', 320) 'setting Width'
    $features.GetInteger('Width').Value = 640
    Assert-Ok $features.SetIntegerValue('Height', 480) 'setting Height'
    "Width is $(Get-Integer $features 'Width')"
    Show-Errors $features

    $stream = New-Vex VexStream
    Assert-Ok $stream.OpenUnicast($Address, 0, 0, '') 'opening the stream'
    Assert-Ok $device.NegotiatePacketSize(0, $everyNetworkCarries) 'negotiating the packet size'
    Assert-Ok $device.SetStreamDestination($stream.LocalIPAddress, $stream.LocalPort, 0) 'setting the destination'
    Receive-Images $features $stream (Join-Path $Folder 'camera.bmp')
    Show-Events
    Assert-Ok $device.ResetStreamDestination(0) 'resetting the destination'
    Assert-Ok $stream.Close() 'closing the stream'
    Assert-Ok $device.Disconnect() 'disconnecting'
    'Done.'
    exit 0
} catch {
    "Failed: $($_.Exception.Message)"
    # the camera is free for others at once
    if ($null -ne $device) { [void]$device.Disconnect() }
    exit 1
} finally {
    Get-EventSubscriber | Unregister-Event
}
