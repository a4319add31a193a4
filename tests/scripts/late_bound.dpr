{ What a client that others wrote meets when it calls late bound: counts, named arguments, what a call gives by its
  parameters, arrays both ways, Nothing, errors.

    late_bound IP-ADDRESS

  The software camera is at IP-ADDRESS. }
program late_bound;

{$APPTYPE CONSOLE}
{$MODE DELPHI}

uses
  Windows, SysUtils, Variants, ActiveX, ComObj;

const
  AccessControl = 1;
  PixelMono8 = $01080001;

procedure Fail(const Text: string);
begin
  raise Exception.Create(Text);
end;

procedure Expect(const What: string; const Found, Wanted: OleVariant);
begin
  if Found <> Wanted then
    Fail(What + ' is ' + VarToStr(Found) + ', not ' + VarToStr(Wanted));
end;

{ Counts are unsigned; they compare and calculate without conversion. }
procedure Counts(const System: OleVariant);
var
  Count: OleVariant;
  I, Looped: Integer;
begin
  if System.Find.IsOK = 0 then
    Fail('searching');
  Count := System.InterfaceCount;
  Expect('the type of a count', VarType(Count), varLongWord);
  if not (Count > 0) or (Count < 1) or (Count - 1 <> Integer(Count) - 1) then
    Fail('a count does not compare');
  Looped := 0;
  for I := 0 to System.InterfaceCount - 1 do
    Inc(Looped);
  Expect('the loop', Looped, Count);
end;

procedure NamedArguments(const Device: OleVariant; const Address: string);
var
  Features, Value: OleVariant;
begin
  Expect('connecting', Device.ConnectString(aAccessType := AccessControl, aInfo := Address).Code, 0);
  Features := Device.GenParameters;
  Expect('setting', Features.SetIntegerValue(aValue := 320, aName := 'Width').Code, 0);
  Expect('reading', Features.GetIntegerValue('Width', Value).Code, 0);
  Expect('Width', Value, 320);
  Expect('one argument by name', Features.SetIntegerValue('Width', aValue := 640).Code, 0);
  Expect('Width set so', Features.GetInteger('Width').Value, 640);
  try
    Features.SetIntegerValue(aNumber := 1, aName := 'Width');
  except
    on EOleError do
      Exit;
  end;
  Fail('a name that there is not was taken');
end;

procedure LeftOut(const Features: OleVariant);
begin
  try
    Features.GetIntegerValue('Width');
  except
    on Problem: EOleSysError do
    begin
      Expect('the error of a missing output', Problem.ErrorCode, HResult(DISP_E_BADPARAMCOUNT));
      Exit;
    end;
  end;
  Fail('an output that was left out was not missed');
end;

procedure NothingGivenAndTaken(const Features: OleVariant);
var
  Pipeline, Missing: OleVariant;
begin
  Missing := Features.GetInteger('NoSuchFeature');
  if (VarType(Missing) <> varDispatch) or (IDispatch(Missing) <> nil) then
    Fail('a feature that there is not is not Nothing');
  Pipeline := CreateOleObject('VexKamCOMWrapper.VexPipeline');
  Pipeline.StreamBase := Missing;
  Missing := Pipeline.StreamBase;
  if IDispatch(Missing) <> nil then
    Fail('a stream that was taken away is still there');
end;

{ A register's bytes, by an array of bytes and by one of variants as scripts have it; Get fills the caller's array. }
procedure Arrays(const Features: OleVariant);
var
  Memory, Bytes, Elements: OleVariant;
  I, Last: Integer;
begin
  Memory := Features.GetRegister('UserMemory');
  Last := Integer(Memory.Length) - 1;
  Bytes := VarArrayCreate([0, Last], varByte);
  Elements := VarArrayCreate([0, Last], varVariant);
  for I := 0 to Last do
    Bytes[I] := (7 * I) mod 256;
  for I := 0 to Last do
    Elements[I] := 0;
  Expect('writing bytes', Memory.&Set(Bytes).Code, 0);
  Expect('reading elements', Memory.Get(Elements).Code, 0);
  for I := 0 to Last do
    Expect('element ' + IntToStr(I), Elements[I], (7 * I) mod 256);
  for I := 0 to Last do
    Elements[I] := I mod 256;
  Expect('writing elements', Memory.&Set(Elements).Code, 0);
  Expect('reading bytes', Memory.Get(Bytes).Code, 0);
  for I := 0 to Last do
    Expect('byte ' + IntToStr(I), Bytes[I], I mod 256);
end;

{ The text of an error names the feature, its source the class. }
procedure Errors(const Features: OleVariant);
var
  Width: OleVariant;
begin
  Width := Features.GetInteger('Width');
  try
    Width.Value := -1;
  except
    on Refusal: EOleException do
    begin
      Expect('the source', Refusal.Source, 'VexKamCOMWrapper.VexGenInteger.1');
      Expect('the text', Refusal.Message, 'Width: -1 is below its minimum of 16');
      Exit;
    end;
  end;
  Fail('a Width of -1 was taken');
end;

procedure Run;
var
  System, Device: OleVariant;
begin
  System := CreateOleObject('VexKamCOMWrapper.VexSystem');
  Device := CreateOleObject('VexKamCOMWrapper.VexDevice');
  Counts(System);
  NamedArguments(Device, ParamStr(1));
  LeftOut(Device.GenParameters);
  NothingGivenAndTaken(Device.GenParameters);
  Arrays(Device.GenParameters);
  Errors(Device.GenParameters);
  Expect('disconnecting', Device.Disconnect.Code, 0);
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
