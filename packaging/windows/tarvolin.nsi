; The Windows installer of Tarvolin: installs the component and registers it for all users
; (HKEY_LOCAL_MACHINE, needs administrator rights) or for the current user
; (HKEY_CURRENT_USER\Software\Classes), chosen on a page or with /ALLUSERS or /CURRENTUSER.
; /S installs silently. It adds an entry to "Apps & features" and an uninstaller.
;
; Built by the Windows build's target tarvolin_installer:
;   makensis -DVERSION=1.0.0 -DSTAGE=<install tree> -DOUTFILE=<setup.exe> [-DWITH_X86] tarvolin.nsi
; STAGE holds what `cmake --install` puts there (bin\, include\, lib\, share\, examples\);
; WITH_X86 adds the 32-bit DLL from STAGE\bin\x86.

Unicode true
Target amd64-unicode
!ifndef VERSION | STAGE | OUTFILE
  !error "VERSION, STAGE and OUTFILE must be defined"
!endif

Name "Tarvolin ${VERSION}"
OutFile "${OUTFILE}"
SetCompressor /SOLID lzma

!define PRODUCT_KEY "Software\Tarvolin"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\Tarvolin"

!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_MUI
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_INSTALLMODE_INSTDIR Tarvolin
!define MULTIUSER_USE_PROGRAMFILES64
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_KEY "${PRODUCT_KEY}"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_VALUENAME "InstallMode"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_KEY "${PRODUCT_KEY}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_VALUENAME "InstallDir"
!include MultiUser.nsh
!include MUI2.nsh
!include LogicLib.nsh

!insertmacro MULTIUSER_PAGE_INSTALLMODE
!insertmacro MUI_PAGE_LICENSE "${STAGE}\share\doc\Tarvolin\LICENSE"
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE English

Function .onInit
  !insertmacro MULTIUSER_INIT
FunctionEnd

Function un.onInit
  !insertmacro MULTIUSER_UNINIT
FunctionEnd

; Registers (or with /u unregisters) one DLL with the regsvr32 of its bitness: for the
; machine, or with /n /i:user for the current user. Sets $0 to regsvr32's exit code.
!macro Regsvr32 EXE FLAGS DLL
  ${If} $MultiUser.InstallMode == "CurrentUser"
    ExecWait '"${EXE}" /s ${FLAGS} /n /i:user "${DLL}"' $0
  ${Else}
    ExecWait '"${EXE}" /s ${FLAGS} "${DLL}"' $0
  ${EndIf}
!macroend

Section "Tarvolin" SecMain
  SectionIn RO
  SetOutPath "$INSTDIR"
  File "${STAGE}\bin\tarvolin.dll"
  File "${STAGE}\bin\tarvolin.exe"
  File "${STAGE}\bin\Tarvolin.manifest"
  SetOutPath "$INSTDIR\de-DE"
  File "${STAGE}\bin\de-DE\tarvolin.res.dll"
!ifdef WITH_X86
  SetOutPath "$INSTDIR\x86"
  File "${STAGE}\bin\x86\tarvolin.dll"
  File "${STAGE}\bin\x86\Tarvolin.manifest"
  SetOutPath "$INSTDIR\x86\de-DE"
  File "${STAGE}\bin\x86\de-DE\tarvolin.res.dll"
!endif
  SetOutPath "$INSTDIR\include"
  File /r "${STAGE}\include\*.*"
  SetOutPath "$INSTDIR\examples"
  File /r "${STAGE}\examples\*.*"
  SetOutPath "$INSTDIR\doc"
  File "${STAGE}\share\doc\Tarvolin\README.md"
  File "${STAGE}\share\doc\Tarvolin\reference.md"
  File "${STAGE}\share\doc\Tarvolin\LICENSE"
  File "${STAGE}\share\tarvolin\tarvolin.tlb"

  !insertmacro Regsvr32 "$WINDIR\System32\regsvr32.exe" "" "$INSTDIR\tarvolin.dll"
  ${If} $0 != 0
    DetailPrint "Registering tarvolin.dll failed (regsvr32 exit code $0)"
    SetErrorLevel 3
    Abort "Registering tarvolin.dll failed (regsvr32 exit code $0)"
  ${EndIf}
!ifdef WITH_X86
  !insertmacro Regsvr32 "$WINDIR\SysWOW64\regsvr32.exe" "" "$INSTDIR\x86\tarvolin.dll"
  ${If} $0 != 0
    DetailPrint "Registering the 32-bit tarvolin.dll failed (regsvr32 exit code $0)"
    SetErrorLevel 3
    Abort "Registering the 32-bit tarvolin.dll failed (regsvr32 exit code $0)"
  ${EndIf}
!endif

  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr SHCTX "${PRODUCT_KEY}" "InstallMode" $MultiUser.InstallMode
  WriteRegStr SHCTX "${PRODUCT_KEY}" "InstallDir" "$INSTDIR"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayName" "Tarvolin SQL parser component"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "Publisher" "The Tarvolin developers"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode'
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode /S'
  WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoRepair" 1
SectionEnd

Section "Uninstall"
  !insertmacro Regsvr32 "$WINDIR\System32\regsvr32.exe" "/u" "$INSTDIR\tarvolin.dll"
!ifdef WITH_X86
  !insertmacro Regsvr32 "$WINDIR\SysWOW64\regsvr32.exe" "/u" "$INSTDIR\x86\tarvolin.dll"
!endif
  Delete "$INSTDIR\tarvolin.dll"
  Delete "$INSTDIR\tarvolin.exe"
  Delete "$INSTDIR\Tarvolin.manifest"
  RMDir /r "$INSTDIR\de-DE"
  RMDir /r "$INSTDIR\x86"
  RMDir /r "$INSTDIR\include"
  RMDir /r "$INSTDIR\examples"
  RMDir /r "$INSTDIR\doc"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  DeleteRegKey SHCTX "${UNINSTALL_KEY}"
  DeleteRegKey SHCTX "${PRODUCT_KEY}"
SectionEnd
