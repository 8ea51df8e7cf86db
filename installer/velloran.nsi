; Velloran's Windows installer, made by makensis on Linux (the `installer` target,
; cmake/WindowsPackaging.cmake), which passes:
;   VERSION   the program's version, e.g. 0.1.0
;   STAGE     the folder laid out as the program's folder (the portable zip's files)
;   OUTFILE   the installer to write
;   ICON      the program's icon (.ico), for the installer and the uninstaller
;
; Silent runs: `velloran-<version>-setup.exe /S [/D=C:\Folder]` installs and
; `uninstall.exe /S [/REMOVESETTINGS]` uninstalls; /REMOVESETTINGS also removes the
; settings of the user running it, which otherwise stay for a later installation.

Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
RequestExecutionLevel admin
ManifestDPIAware true

!include MUI2.nsh
!include FileFunc.nsh
!include LogicLib.nsh

!ifndef VERSION | STAGE | OUTFILE | ICON
  !error "makensis needs -DVERSION=... -DSTAGE=... -DOUTFILE=... -DICON=..."
!endif

!define NAME "Velloran"
!define PUBLISHER "The Velloran developers"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\Velloran"
!define RUN_KEY "Software\Microsoft\Windows\CurrentVersion\Run"
; What the Start menu entry opens: the window program when the build has it.
!if /FileExists "${STAGE}/velloran.exe"
  !define MAIN_PROGRAM "velloran.exe"
!else
  !define MAIN_PROGRAM "velloran-cli.exe"
!endif

Name "${NAME}"
OutFile "${OUTFILE}"
InstallDir "$PROGRAMFILES64\${NAME}"
InstallDirRegKey HKLM "${UNINSTALL_KEY}" "InstallLocation"
BrandingText "${NAME} ${VERSION}"

VIProductVersion "${VERSION}.0"
VIAddVersionKey /LANG=1033 "ProductName" "${NAME}"
VIAddVersionKey /LANG=1033 "ProductVersion" "${VERSION}"
VIAddVersionKey /LANG=1033 "FileVersion" "${VERSION}"
VIAddVersionKey /LANG=1033 "FileDescription" "${NAME} ${VERSION} setup"
VIAddVersionKey /LANG=1033 "CompanyName" "${PUBLISHER}"
VIAddVersionKey /LANG=1033 "LegalCopyright" "Copyright (C) 2026 ${PUBLISHER}"

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_ABORTWARNING
!define MUI_FINISHPAGE_RUN "$INSTDIR\${MAIN_PROGRAM}"
!define MUI_FINISHPAGE_RUN_NOTCHECKED

!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH

!define MUI_COMPONENTSPAGE_NODESC
!define MUI_UNPAGE_COMPONENTS_TEXT_TOP "Your settings, junk filters, cookies to keep and error reports stay unless you tick the box below."
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_COMPONENTS
!insertmacro MUI_UNPAGE_INSTFILES

!insertmacro MUI_LANGUAGE "English"

Function .onInit
  SetRegView 64
  SetShellVarContext all
FunctionEnd

Section "Velloran" SecProgram
  SectionIn RO
  SetOutPath "$INSTDIR"
  !if "${MAIN_PROGRAM}" == "velloran.exe"
    File "${STAGE}/velloran.exe"
  !endif
  File "${STAGE}/velloran-cli.exe"
  File "${STAGE}/junk-filters.txt"
  ; Earlier versions' pages go, so the folder holds this version's only.
  RMDir /r "$INSTDIR\help"
  SetOutPath "$INSTDIR\help"
  File "${STAGE}/help/*.*"
  SetOutPath "$INSTDIR"

  WriteUninstaller "$INSTDIR\uninstall.exe"
  CreateShortcut "$SMPROGRAMS\${NAME}.lnk" "$INSTDIR\${MAIN_PROGRAM}" "" \
                 "$INSTDIR\${MAIN_PROGRAM}" 0 SW_SHOWNORMAL "" "Privacy and disk cleaner"

  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "${NAME}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "Publisher" "${PUBLISHER}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\${MAIN_PROGRAM},0"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoRepair" 1
  ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "EstimatedSize" $0
SectionEnd

Section "un.Velloran" SecUnProgram
  SectionIn RO
  SetShellVarContext all
  Delete "$SMPROGRAMS\${NAME}.lnk"
  Delete "$INSTDIR\velloran.exe"
  Delete "$INSTDIR\velloran-cli.exe"
  Delete "$INSTDIR\junk-filters.txt"
  ; The start-up deletion's list, kept here when the folder was writable.
  Delete "$INSTDIR\delstart.dat"
  RMDir /r "$INSTDIR\help"
  Delete "$INSTDIR\uninstall.exe"
  ; Only when empty: a folder the user chose may hold files of their own.
  RMDir "$INSTDIR"
  DeleteRegKey HKLM "${UNINSTALL_KEY}"

  ; A start-up deletion still waiting would start a program that is gone.
  ReadRegStr $0 HKCU "${RUN_KEY}" "Velloran"
  StrLen $1 "$INSTDIR\"
  StrCpy $2 $0 $1
  StrCpy $3 $0 $1 1
  ${If} $2 == "$INSTDIR\"
  ${OrIf} $3 == "$INSTDIR\"
    DeleteRegValue HKCU "${RUN_KEY}" "Velloran"
  ${EndIf}
SectionEnd

Section /o "un.Remove my settings and data" SecUnSettings
  SetShellVarContext current
  DeleteRegKey HKCU "Software\Velloran"
  RMDir /r "$APPDATA\Velloran"
  RMDir /r "$LOCALAPPDATA\Velloran"
SectionEnd

; After the sections, whose numbers it uses.
Function un.onInit
  SetRegView 64
  SetShellVarContext all
  ${GetParameters} $R0
  ClearErrors
  ${GetOptions} $R0 "/REMOVESETTINGS" $R1
  ${IfNot} ${Errors}
    !insertmacro SelectSection ${SecUnSettings}
  ${EndIf}
FunctionEnd
