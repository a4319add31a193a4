' Serial ports: their configurations.
'
'   cscript serial.vbs FOLDER IP-ADDRESS
'
' The arguments are not used.
Option Explicit

Const InvalidParameter = &H4001

Dim configuration, other

' program identifiers end after 39 characters
Set configuration = CreateObject("VexKamCOMWrapper.VexSerialPortConfigura")
Expect "the baud rate at first", configuration.BaudRate, 9600
Expect "the parity at first", configuration.Parity, 0
Expect "the byte size at first", configuration.ByteSize, 8
Expect "the stop bits at first", configuration.StopBits, 1
ExpectValid "9600 8N1"

configuration.BaudRate = 115200
configuration.Parity = 2
configuration.ByteSize = 7
configuration.StopBits = 2
Expect "the baud rate", configuration.BaudRate, 115200
Expect "the parity", configuration.Parity, 2
Expect "the byte size", configuration.ByteSize, 7
Expect "the stop bits", configuration.StopBits, 2
ExpectValid "115200 7O2"

' a property takes any value, and IsValid says which is wrong
configuration.Parity = 77
Expect "a parity that there is not", configuration.Parity, 77
ExpectInvalid "The parity 77 is not none (0), even (1) or odd (2)"
configuration.Parity = 1
configuration.ByteSize = 9
ExpectInvalid "The byte size 9 is not one of 5 to 8 data bits"
configuration.ByteSize = 5
ExpectInvalid "The stop bits 2 do not go with a byte size of 5 data bits"
configuration.StopBits = 0
ExpectInvalid "The stop bits 0 are not 1 or 2"
configuration.MakeInvalid
ExpectInvalid "The baud rate 0 is not one of 1 to 4000000"
Expect "the parity of a configuration made invalid", configuration.Parity, -1

Set other = CreateObject("VexKamCOMWrapper.VexSerialPortConfigura")
Expect "another configuration", other.BaudRate, 9600

WScript.Echo "Done."
WScript.Quit 0

Sub ExpectValid(what)
    If configuration.IsValid.IsOK Then Exit Sub
    Fail what & " is not valid: " & configuration.IsValid.Description
End Sub

Sub ExpectInvalid(text)
    Dim judged
    Set judged = configuration.IsValid
    If judged.IsOK Then Fail "valid: " & text
    Expect "the code of: " & text, judged.Code, InvalidParameter
    Expect "what is wrong", judged.Description, text
End Sub

Sub Expect(what, found, wanted)
    If CStr(found) = CStr(wanted) Then Exit Sub
    Fail what & " is '" & found & "', not '" & wanted & "'"
End Sub

Sub Fail(what)
    WScript.Echo "Failed: " & what
    WScript.Quit 1
End Sub
