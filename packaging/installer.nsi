; The installer. package.py gives VERSION, SIZE (KiB), STAGE (the files), LISTS (what to put and remove) and OUTPUT.
Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
ManifestDPIAware true
CRCCheck on

!define NAME "VexKamCOMWrapper"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${NAME}"
!define RULE "VexKamCOMWrapper cameras"

!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_MUI
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_INSTALLMODE_INSTDIR "${NAME}"
!define MULTIUSER_USE_PROGRAMFILES64
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_KEY "${UNINSTALL_KEY}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_VALUENAME "InstallLocation"
!include MultiUser.nsh
!include MUI2.nsh
!include LogicLib.nsh
!include FileFunc.nsh

Name "${NAME} ${VERSION}"
OutFile "${OUTPUT}"
BrandingText "${NAME} ${VERSION}"
ShowInstDetails hide
ShowUninstDetails hide

VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "${NAME}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "FileDescription" "Installer of the ${NAME} camera automation server"
VIAddVersionKey "LegalCopyright" ""

!define MUI_ICON "${NSISDIR}/Contrib/Graphics/Icons/modern-install.ico"
!define MUI_UNICON "${NSISDIR}/Contrib/Graphics/Icons/modern-uninstall.ico"
!define MUI_WELCOMEFINISHPAGE_BITMAP "${LISTS}/side.bmp"
!define MUI_WELCOMEPAGE_TITLE "${NAME} ${VERSION}"
!define MUI_WELCOMEPAGE_TEXT "This installs a server by which scripts and programs use GigE Vision cameras, with a viewer, command line tools, examples and the documentation.$\r$\n$\r$\nClose the programs that use cameras before you go on. What is already installed is repaired or replaced.$\r$\n$\r$\n$(^ClickNext)"
!define MUI_COMPONENTSPAGE_SMALLDESC
!define MUI_FINISHPAGE_TITLE "${NAME} is installed"
!define MUI_FINISHPAGE_TEXT "Scripts and programs can use cameras now. The documentation and the examples are in the Start menu."
!define MUI_FINISHPAGE_RUN "$INSTDIR\viewer.exe"
!define MUI_FINISHPAGE_RUN_TEXT "Start the viewer"
!define MUI_FINISHPAGE_RUN_NOTCHECKED
!insertmacro MUI_PAGE_WELCOME
!insertmacro MULTIUSER_PAGE_INSTALLMODE
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

Var Who

; Gives up with a sentence and an exit code; a silent installer only with the code.
!macro GiveUp CODE TEXT
  MessageBox MB_OK|MB_ICONSTOP "${TEXT}" /SD IDOK
  SetErrorLevel ${CODE}
  Quit
!macroend

!macro KnowWho
  ${If} $MultiUser.InstallMode == "AllUsers"
    StrCpy $Who "everyone"
  ${Else}
    StrCpy $Who "user"
  ${EndIf}
!macroend

Section "Server, programs, examples, documentation" SectionServer
  SectionIn RO
  !insertmacro KnowWho
  ${If} ${FileExists} "$INSTDIR\VexKamCOMWrapper.dll"
    ClearErrors
    FileOpen $0 "$INSTDIR\VexKamCOMWrapper.dll" a
    ${If} ${Errors}
      !insertmacro GiveUp 3 "A program still uses the server that is installed. Close the programs that use cameras and run this installer again."
    ${EndIf}
    FileClose $0
  ${EndIf}
  ClearErrors
  !include "${LISTS}/install.nsh"
  SetOutPath "$INSTDIR"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  ${If} ${Errors}
    !insertmacro GiveUp 4 "Not all files could be written to $INSTDIR."
  ${EndIf}

  nsExec::ExecToLog '"$INSTDIR\vexregister.exe" --$Who'
  Pop $0
  ${If} $0 != 0
    !insertmacro GiveUp 5 "The server could not be registered. The files are installed; vexregister.exe in $INSTDIR says what is wrong."
  ${EndIf}

  WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayName" "${NAME}"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "Publisher" "${NAME}"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\viewer.exe"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode'
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode /S'
  WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "EstimatedSize" ${SIZE}
  WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoRepair" 1
SectionEnd

Section "Start menu entries" SectionMenu
  CreateDirectory "$SMPROGRAMS\${NAME}"
  CreateShortcut "$SMPROGRAMS\${NAME}\Viewer.lnk" "$INSTDIR\viewer.exe"
  CreateShortcut "$SMPROGRAMS\${NAME}\Documentation.lnk" "$INSTDIR\docs"
  CreateShortcut "$SMPROGRAMS\${NAME}\Examples.lnk" "$INSTDIR\examples"
  CreateShortcut "$SMPROGRAMS\${NAME}\Uninstall.lnk" "$INSTDIR\uninstall.exe" "/$MultiUser.InstallMode"
SectionEnd

; Windows asks for this when a program first listens; an installer for all users can answer beforehand. What was done, or
; what an administrator has to do, is written down beside the programs.
!define ADD_RULE 'netsh advfirewall firewall add rule name="${RULE}" dir=in action=allow protocol=UDP remoteip=localsubnet profile=private,domain program="$INSTDIR\viewer.exe"'
Section /o "Windows firewall rule for the viewer" SectionFirewall
  nsExec::ExecToLog 'netsh advfirewall firewall delete rule name="${RULE}"'
  Pop $0
  nsExec::ExecToLog '${ADD_RULE}'
  Pop $0
  ${If} $0 == 0
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "FirewallRule" 1
    StrCpy $1 "This firewall rule was added:"
  ${Else}
    StrCpy $1 "The firewall rule could not be added ($0). Windows will ask when the viewer first looks for cameras. An administrator can add the rule with this command:"
  ${EndIf}
  DetailPrint "$1"
  DetailPrint '${ADD_RULE}'
  FileOpen $2 "$INSTDIR\firewall.txt" w
  ${If} $2 != ""
    FileWriteUTF16LE /BOM $2 '$1$\r$\n$\r$\n${ADD_RULE}$\r$\n'
    FileClose $2
  ${EndIf}
SectionEnd

Section "Uninstall"
  !insertmacro KnowWho
  ClearErrors
  FileOpen $0 "$INSTDIR\VexKamCOMWrapper.dll" a
  ${If} ${Errors}
    ${If} ${FileExists} "$INSTDIR\VexKamCOMWrapper.dll"
      !insertmacro GiveUp 3 "A program still uses the server. Close the programs that use cameras and uninstall again."
    ${EndIf}
  ${Else}
    FileClose $0
  ${EndIf}
  nsExec::ExecToLog '"$INSTDIR\vexregister.exe" --remove --$Who'
  Pop $0
  ReadRegDWORD $0 SHCTX "${UNINSTALL_KEY}" "FirewallRule"
  ${If} $0 == 1
    nsExec::ExecToLog 'netsh advfirewall firewall delete rule name="${RULE}"'
    Pop $0
  ${EndIf}
  !include "${LISTS}/remove.nsh"
  Delete "$INSTDIR\firewall.txt"
  Delete "$INSTDIR\uninstall.exe"
  SetOutPath "$TEMP"
  RMDir "$INSTDIR"
  Delete "$SMPROGRAMS\${NAME}\Viewer.lnk"
  Delete "$SMPROGRAMS\${NAME}\Documentation.lnk"
  Delete "$SMPROGRAMS\${NAME}\Examples.lnk"
  Delete "$SMPROGRAMS\${NAME}\Uninstall.lnk"
  RMDir "$SMPROGRAMS\${NAME}"
  DeleteRegKey SHCTX "${UNINSTALL_KEY}"
SectionEnd

LangString TextServer ${LANG_ENGLISH} "The server, its registration, the programs, the examples and the documentation."
LangString TextMenu ${LANG_ENGLISH} "Entries of the Start menu for the viewer, the documentation, the examples and uninstalling."
LangString TextFirewall ${LANG_ENGLISH} "Lets cameras of the same network send images to the viewer. This needs administrator rights."
!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${SectionServer} $(TextServer)
  !insertmacro MUI_DESCRIPTION_TEXT ${SectionMenu} $(TextMenu)
  !insertmacro MUI_DESCRIPTION_TEXT ${SectionFirewall} $(TextFirewall)
!insertmacro MUI_FUNCTION_DESCRIPTION_END

Function .onInit
  !insertmacro MULTIUSER_INIT
  ; a folder that the command line names counts more than the one of an installation that is there: /D=
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/Firewall" $1
  ${IfNot} ${Errors}
    !insertmacro SelectSection ${SectionFirewall}
  ${EndIf}
FunctionEnd

Function un.onInit
  !insertmacro MULTIUSER_UNINIT
FunctionEnd
