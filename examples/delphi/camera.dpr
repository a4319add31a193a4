{ Camera: finds a camera, sets features, streams images, saves one as a bitmap, shows events and errors.

    camera [IP-ADDRESS [FOLDER]]

  IP-ADDRESS picks a camera (default, or "any": the first one found). FOLDER takes camera.bmp (default: the current one).
  Ends with 0 and the line "Done." when every step succeeded, with 1 when one failed.

  Run in the tests, compiled by Free Pascal for 64-bit Windows in its Delphi mode; not with Delphi itself, for which it is
  written as well: make a 64-bit console project of it (dcc64 -NSSystem;System.Win;Winapi camera.dpr).

  Late bound, by variants: no type library need be imported. Truth is 1 and not -1, so what tells truth is compared with 0.
  A variable that takes what a method gives is declared as OleVariant. }
program camera;

{$APPTYPE CONSOLE}
{$IFDEF FPC}{$MODE DELPHI}{$ENDIF}

uses
  Windows, SysUtils, Variants, ActiveX, ComObj;

const
  AccessControl = 1;                { VexAccessControl }
  PixelWinBGR24 = $02188004;        { VexPixelWinBGR24 }
  BufferFormatBMP = 0;              { VexBufferFormatBMP }
  EveryNetworkCarries = 1440;       { bytes, for cameras that send no test packets }
  FrameCount = 20;
  BufferCount = 8;

{ ---- outcomes ---- }

type
  ECamera = class(Exception);

{ Methods that can fail return a result object. }
procedure Require(const Result: OleVariant; const What: string);
begin
  if Result.IsOK = 0 then
    raise ECamera.Create(What + ': ' + string(Result.Description));
end;

function IsNothing(const Value: OleVariant): Boolean;
begin
  Result := VarIsEmpty(Value) or VarIsNull(Value) or (IDispatch(Value) = nil);
end;

{ ---- events ---- }

type
  { The interfaces of the type library by which objects tell what happens. }
  ISystemEvents = interface(IDispatch)
    ['{DCB15B35-2A9A-48C8-B61F-2A3EC9EA83C3}']
  end;
  IDeviceEvents = interface(IDispatch)
    ['{2AD7BA65-007F-46DF-A2E5-0023579AE337}']
  end;
  IParameterEvents = interface(IDispatch)
    ['{AB5067EC-8968-4208-A4AA-C87F74C35443}']
  end;

  { What every listener has in common: events come by number. A listener is called on a thread of the server; what it
    does there must be short, and no exception may leave it. }
  TListener = class(TInterfacedObject, IDispatch)
  protected
    procedure Told(Event: Integer; const Arguments: TDispParams); virtual; abstract;
  public
    Calls: Integer;
    function GetTypeInfoCount(out Count: Integer): HResult; stdcall;
    function GetTypeInfo(Index, LocaleID: Integer; out TypeInfo): HResult; stdcall;
    function GetIDsOfNames(const IID: TGUID; Names: Pointer; NameCount, LocaleID: Integer; DispIDs: Pointer): HResult;
      stdcall;
    function Invoke(DispID: Integer; const IID: TGUID; LocaleID: Integer; Flags: Word; var Params;
      VarResult, ExcepInfo, ArgErr: Pointer): HResult; stdcall;
  end;

  TSystemListener = class(TListener, ISystemEvents)
  protected
    procedure Told(Event: Integer; const Arguments: TDispParams); override;
  end;

  TDeviceListener = class(TListener, IDeviceEvents)
  protected
    procedure Told(Event: Integer; const Arguments: TDispParams); override;
  end;

  TParameterListener = class(TListener, IParameterEvents)
  protected
    procedure Told(Event: Integer; const Arguments: TDispParams); override;
  end;

  TConnection = {$IFDEF FPC} LongWord {$ELSE} Integer {$ENDIF};

function TListener.GetTypeInfoCount(out Count: Integer): HResult;
begin
  Count := 0;
  Result := S_OK;
end;

function TListener.GetTypeInfo(Index, LocaleID: Integer; out TypeInfo): HResult;
begin
  Pointer(TypeInfo) := nil;
  Result := E_NOTIMPL;
end;

function TListener.GetIDsOfNames(const IID: TGUID; Names: Pointer; NameCount, LocaleID: Integer;
  DispIDs: Pointer): HResult;
begin
  Result := E_NOTIMPL;
end;

function TListener.Invoke(DispID: Integer; const IID: TGUID; LocaleID: Integer; Flags: Word; var Params;
  VarResult, ExcepInfo, ArgErr: Pointer): HResult;
begin
  Inc(Calls);
  Result := S_OK;
  try
    Told(DispID, TDispParams(Params));
  except
    Result := E_FAIL;
  end;
end;

{ Arguments come in reverse order: OnDeviceFound(aInterface, aDeviceInfo, aIgnore). Whoever sets aIgnore, by
  Arguments.rgvarg^[0].pbool^, leaves the camera out. }
procedure TSystemListener.Told(Event: Integer; const Arguments: TDispParams);
var
  Info: OleVariant;
begin
  Info := OleVariant(Arguments.rgvarg^[1]);
  WriteLn('Event: found ', string(Info.Model), ' at ', string(Info.IPAddress));
end;

procedure TDeviceListener.Told(Event: Integer; const Arguments: TDispParams);
begin
  case Event of
    4: WriteLn('Event: the connection was lost');
    5: WriteLn('Event: connected again');
  end;
end;

procedure TParameterListener.Told(Event: Integer; const Arguments: TDispParams);
var
  Parameter: OleVariant;
begin
  Parameter := OleVariant(Arguments.rgvarg^[0]);
  WriteLn('Event: ', string(Parameter.Name), ' has changed');
end;

{ ---- the camera ---- }

var
  Folder: string;
  Device, Features, Stream, Pipeline: OleVariant;
  DeviceListener: IDeviceEvents;
  DeviceConnection: TConnection;

{ Every camera that is found is told by an event. The address of the first one. }
function Search: string;
var
  System, Adapter: OleVariant;
  Listener: ISystemEvents;
  Connection: TConnection;
  I: Integer;
begin
  Result := '';
  System := CreateOleObject('VexKamCOMWrapper.VexSystem');
  Listener := TSystemListener.Create;
  Connection := 0;
  InterfaceConnect(System, ISystemEvents, Listener, Connection);
  Require(System.Find, 'searching for cameras');
  InterfaceDisconnect(System, ISystemEvents, Connection);
  for I := 0 to System.InterfaceCount - 1 do
  begin
    Adapter := System.GetInterface(I);
    if (Result = '') and (Adapter.DeviceCount > 0) then
      Result := Adapter.GetDeviceInfo(0).IPAddress;
  end;
end;

procedure Connect(const Address: string);
begin
  if Address = '' then
    raise ECamera.Create('no camera was found');
  Device := CreateOleObject('VexKamCOMWrapper.VexDevice');
  DeviceListener := TDeviceListener.Create;
  InterfaceConnect(Device, IDeviceEvents, DeviceListener, DeviceConnection);
  Require(Device.ConnectString(Address, AccessControl), 'connecting to ' + Address);
  Features := Device.GenParameters;
  WriteLn('Connected to ', Address, ', ', Integer(Features.Count), ' features');
end;

procedure SetFeatures;
var
  Width, Value: OleVariant;
  Listener: TParameterListener;
  Events: IParameterEvents;
  Connection: TConnection;
begin
  Width := Features.GetInteger('Width');
  Listener := TParameterListener.Create;
  Events := Listener;
  Connection := 0;
  InterfaceConnect(Width, IParameterEvents, Events, Connection);
  Require(Features.SetEnumValueStr('PixelFormat', 'BayerRG8'), 'setting PixelFormat');
  Require(Features.SetIntegerValue('Width', 320), 'setting Width');
  Width.Value := 640;
  Require(Features.SetIntegerValue('Height', 480), 'setting Height');
  InterfaceDisconnect(Width, IParameterEvents, Connection);
  if Listener.Calls = 0 then
    raise ECamera.Create('no event told that Width has changed');
  Require(Features.GetIntegerValue('Width', Value), 'reading Width');
  if Value <> 640 then
    raise ECamera.Create('Width is not what it was set to');
end;

{ A method tells its failure by its result object, a property by an exception. }
procedure ShowErrors;
var
  Outcome, Width: OleVariant;
begin
  Outcome := Features.SetIntegerValue('NoSuchFeature', 1);
  if Outcome.IsOK <> 0 then
    raise ECamera.Create('a feature that there is not was set');
  WriteLn('As expected: code ', Integer(Outcome.Code), ': ', string(Outcome.Description));
  Width := Features.GetInteger('Width');
  try
    Width.Value := -1;
  except
    on Refusal: EOleSysError do
    begin
      WriteLn('As expected: ', Refusal.Message);
      Exit;
    end;
  end;
  raise ECamera.Create('a Width of -1 was taken');
end;

{ ---- images ---- }

procedure OpenStream(const Address: string);
begin
  Stream := CreateOleObject('VexKamCOMWrapper.VexStream');
  Require(Stream.OpenUnicast(Address, 0, 0, ''), 'opening the stream');
  Require(Device.NegotiatePacketSize(0, EveryNetworkCarries), 'negotiating the packet size');
  Require(Device.SetStreamDestination(Stream.LocalIPAddress, Stream.LocalPort, 0), 'setting the destination');
end;

{ Cameras that have it want it set while they send. }
procedure LockSettings(Locked: Integer);
begin
  if not IsNothing(Features.GetInteger('TLParamsLocked')) then
    Require(Features.SetIntegerValue('TLParamsLocked', Locked), 'locking the settings');
end;

procedure StartPipeline;
var
  PayloadSize: OleVariant;
begin
  Require(Features.GetIntegerValue('PayloadSize', PayloadSize), 'reading PayloadSize');
  { the stream comes first: size and count belong to the pipeline on it }
  Pipeline := CreateOleObject('VexKamCOMWrapper.VexPipeline');
  Pipeline.StreamBase := Stream;
  { a typed value: Free Pascal sets a property from a variant as VBScript's Set does, which is for objects only }
  Pipeline.BufferSize := Integer(PayloadSize);
  Pipeline.BufferCount := BufferCount;
  Require(Pipeline.Start, 'starting the pipeline');
  LockSettings(1);
  Require(Features.ExecuteCommand('AcquisitionStart'), 'starting the acquisition');
end;

procedure Save(const Buffer: OleVariant);
var
  Picture, Converter, Writer: OleVariant;
  Path: string;
begin
  Picture := CreateOleObject('VexKamCOMWrapper.VexBuffer');
  Require(Picture.Image.Alloc(Buffer.Image.Width, Buffer.Image.Height, PixelWinBGR24, 0, 0), 'allocating the picture');
  Converter := CreateOleObject('VexKamCOMWrapper.VexBufferConverter');
  Require(Converter.Convert(Buffer, Picture, True), 'converting the image');
  Writer := CreateOleObject('VexKamCOMWrapper.VexBufferWriter');
  Path := Folder + '\camera.bmp';
  Require(Writer.Store(Picture, Path, BufferFormatBMP), 'saving ' + Path);
  WriteLn('Saved ', Path);
end;

procedure TakeImages;
var
  Frame, Damaged: Integer;
  Buffer, Operation: OleVariant;
begin
  Damaged := 0;
  for Frame := 1 to FrameCount do
  begin
    Require(Pipeline.RetrieveNextBuffer(Buffer, 5000, Operation), 'retrieving image ' + IntToStr(Frame));
    if Operation.IsOK = 0 then
      Inc(Damaged);
    if Frame = FrameCount then
      Save(Buffer);
    Require(Pipeline.ReleaseBuffer(Buffer), 'giving the buffer back');
  end;
  WriteLn(FrameCount, ' images, ', Damaged, ' damaged');
end;

procedure StopPipeline;
begin
  Require(Features.ExecuteCommand('AcquisitionStop'), 'stopping the acquisition');
  LockSettings(0);
  Require(Pipeline.Stop, 'stopping the pipeline');
end;

procedure Leave;
begin
  Require(Device.ResetStreamDestination(0), 'resetting the destination');
  Require(Stream.Close, 'closing the stream');
  Require(Device.Disconnect, 'disconnecting');
  InterfaceDisconnect(Device, IDeviceEvents, DeviceConnection);
end;

{ All objects are released at its end, before COM is. }
procedure Run;
var
  Address: string;
begin
  Folder := '.';
  if ParamCount > 1 then
    Folder := ParamStr(2);
  Address := Search;
  if (ParamCount > 0) and (ParamStr(1) <> 'any') then
    Address := ParamStr(1);
  try
    Connect(Address);
    SetFeatures;
    ShowErrors;
    OpenStream(Address);
    StartPipeline;
    TakeImages;
    StopPipeline;
    Leave;
  finally
    Pipeline := Unassigned;
    Stream := Unassigned;
    Features := Unassigned;
    Device := Unassigned;
  end;
end;

begin
  OleCheck(CoInitialize(nil));
  try
    Run;
    WriteLn('Done.');
  except
    on Problem: Exception do
    begin
      WriteLn('Failed: ', Problem.ClassName, ': ', Problem.Message);
      ExitCode := 1;
    end;
  end;
  CoUninitialize;
end.
