; The installer for all users, both bitnesses in one. tools/package.sh calls makensis with
;   VERSION   the product's version            STAGE   the folder that has x64, x86 and documents as they are installed
;   OUTPUT    the file to make                 SIGN    what signs the uninstaller, if anything: a program that is given its name
;
; Silent: /S. Another folder: /D=C:\Folder (last). Without the logging service or tvsource: /NOSERVICE, /NOHOST.
; Over a newer version only with /DOWNGRADE.
; Exit codes: 0 done, 1 given up by the user, 2 failed, 1638 a newer version is there, 3010 done, complete after a restart.
Unicode true
SetCompressor /SOLID lzma
RequestExecutionLevel admin
ManifestSupportedOS all
ManifestDPIAware true
!addplugindir "."

!include LogicLib.nsh
!include x64.nsh
!include FileFunc.nsh
!include WordFunc.nsh
!include Sections.nsh
!include MUI2.nsh

!define PRODUCT "Tavel File Source"
!define ARP "Software\Microsoft\Windows\CurrentVersion\Uninstall\TavelFileSource"
!define RESTART_REQUIRED 3010
!define NEWER_IS_THERE 1638

Name "${PRODUCT}"
OutFile "${OUTPUT}"
!ifdef SIGN
  !uninstfinalize '"${SIGN}" "%1"' = 0
!endif
BrandingText "${PRODUCT} ${VERSION}"
ShowInstDetails nevershow
VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName "${PRODUCT}"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey FileDescription "${PRODUCT} set-up"
VIAddVersionKey CompanyName "Tavel"
VIAddVersionKey LegalCopyright ""

!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE English

Var Failed    ; not empty: what could not be done
Var Previous  ; the folder of the version that is there

; The place of a file that a process may be running is made free: Windows lets such a file be renamed, not be deleted. What
; stands aside goes at the next start of the system.
!macro FreePlace UN
Function ${UN}FreePlace
  Exch $0
  Push $1
  ClearErrors
  Delete $0
  ${If} ${FileExists} $0
    StrCpy $1 1
    ${While} ${FileExists} "$0.replaced-$1"
      IntOp $1 $1 + 1
    ${EndWhile}
    ClearErrors
    Rename $0 "$0.replaced-$1"
    ${If} ${Errors}
      StrCpy $Failed $0
    ${Else}
      Delete /REBOOTOK "$0.replaced-$1"
    ${EndIf}
  ${EndIf}
  Pop $1
  Pop $0
FunctionEnd
!macroend
!insertmacro FreePlace ""
!insertmacro FreePlace un.

; FOLDER is x64 or x86, NAME a file in it.
!macro Put FOLDER NAME
  Push "$INSTDIR\${FOLDER}\${NAME}"
  Call FreePlace
  SetOutPath "$INSTDIR\${FOLDER}"
  ClearErrors
  File "${STAGE}/${FOLDER}/${NAME}"
  ${If} ${Errors}
    StrCpy $Failed "$INSTDIR\${FOLDER}\${NAME}"
  ${EndIf}
!macroend
!macro Take UN FOLDER NAME
  Push "$INSTDIR\${FOLDER}\${NAME}"
  Call ${UN}FreePlace
!macroend

; What a bitness's own regsvr32 does. OPTION is /u or empty.
!macro Regsvr32 FOLDER NAME OPTION
  ${If} ${FileExists} "$INSTDIR\${FOLDER}\${NAME}"
    ClearErrors
    !if "${FOLDER}" == "x64"
      ${DisableX64FSRedirection}
    !endif
    ExecWait '"$SYSDIR\regsvr32.exe" /s ${OPTION} "$INSTDIR\${FOLDER}\${NAME}"' $R9
    !if "${FOLDER}" == "x64"
      ${EnableX64FSRedirection}
    !endif
    ${If} ${Errors}
    ${OrIf} $R9 != 0
      StrCpy $Failed "the registration of $INSTDIR\${FOLDER}\${NAME}"
    ${EndIf}
  ${EndIf}
!macroend
!macro Service FOLDER OPTION
  ${If} ${FileExists} "$INSTDIR\${FOLDER}\TKRuntimeLogger.exe"
    ClearErrors
    nsExec::Exec '"$INSTDIR\${FOLDER}\TKRuntimeLogger.exe" ${OPTION}'
    Pop $R9
    ${If} $R9 != 0
      StrCpy $Failed "the registration of $INSTDIR\${FOLDER}\TKRuntimeLogger.exe"
    ${EndIf}
  ${EndIf}
!macroend

; The first thing on the disk is what takes everything away again, so that an installation that breaks off can be taken
; away, too.
Section "-Uninstaller"
  ${If} $Previous != ""
  ${AndIf} $Previous != $INSTDIR
    ExecWait '"$Previous\uninstall.exe" /S _?=$Previous' $R9
    Delete "$Previous\uninstall.exe"
    RMDir $Previous
  ${EndIf}
  SetOutPath $INSTDIR
  ; Whole, or not at all.
  WriteUninstaller "$INSTDIR\uninstall.new"
  Delete "$INSTDIR\uninstall.exe"
  Rename "$INSTDIR\uninstall.new" "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "${ARP}" DisplayName "${PRODUCT}"
  WriteRegStr HKLM "${ARP}" DisplayVersion "${VERSION}"
  WriteRegStr HKLM "${ARP}" Publisher "Tavel"
  WriteRegStr HKLM "${ARP}" InstallLocation "$INSTDIR"
  WriteRegStr HKLM "${ARP}" DisplayIcon "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "${ARP}" UninstallString '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${ARP}" QuietUninstallString '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${ARP}" NoModify 1
  WriteRegDWORD HKLM "${ARP}" NoRepair 1
SectionEnd

Section "Filter, MIME dictionary, data services" SEC_FILTER
  SectionIn RO
  ${If} ${RunningX64}
    !insertmacro Put x64 TvFileSourceAsync.dll
    !insertmacro Put x64 TvMetadata.dll
    !insertmacro Put x64 TvDataServices.dll
    !insertmacro Regsvr32 x64 TvFileSourceAsync.dll ""
    !insertmacro Regsvr32 x64 TvDataServices.dll ""
  ${EndIf}
  !insertmacro Put x86 TvFileSourceAsync.dll
  !insertmacro Put x86 TvMetadata.dll
  !insertmacro Put x86 TvDataServices.dll
  !insertmacro Regsvr32 x86 TvFileSourceAsync.dll ""
  !insertmacro Regsvr32 x86 TvDataServices.dll ""
  SetOutPath "$INSTDIR\documents"
  File /r "${STAGE}/documents/*.*"
SectionEnd

; One program serves processes of both bitnesses.
Section "Logging service" SEC_SERVICE
  ${If} ${RunningX64}
    !insertmacro Put x64 TKRuntimeLogger.exe
    !insertmacro Service x64 --register
  ${Else}
    !insertmacro Put x86 TKRuntimeLogger.exe
    !insertmacro Service x86 --register
  ${EndIf}
SectionEnd

Section "tvsource, a console host" SEC_HOST
  ${If} ${RunningX64}
    !insertmacro Put x64 tvsource.exe
  ${Else}
    !insertmacro Put x86 tvsource.exe
  ${EndIf}
SectionEnd

Section "-Result"
  ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
  WriteRegDWORD HKLM "${ARP}" EstimatedSize $0
  ${If} $Failed != ""
    DetailPrint "Could not be done: $Failed"
    SetErrorLevel 2
    MessageBox MB_ICONSTOP|MB_OK "Could not be done: $Failed" /SD IDOK
  ${ElseIf} ${RebootFlag}
    DetailPrint "Programs are using the former version; it goes when the system is started again."
    SetErrorLevel ${RESTART_REQUIRED}
  ${EndIf}
SectionEnd

LangString ABOUT_FILTER ${LANG_ENGLISH} "The DirectShow source filter for 64-bit and 32-bit programs, with what it tells formats by and what opens URLs and shares."
LangString ABOUT_SERVICE ${LANG_ENGLISH} "TKRuntimeLogger.exe: shows and keeps what the filter logs."
LangString ABOUT_HOST ${LANG_ENGLISH} "tvsource.exe: plays, describes and checks sources at the command line."
!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
!insertmacro MUI_DESCRIPTION_TEXT ${SEC_FILTER} $(ABOUT_FILTER)
!insertmacro MUI_DESCRIPTION_TEXT ${SEC_SERVICE} $(ABOUT_SERVICE)
!insertmacro MUI_DESCRIPTION_TEXT ${SEC_HOST} $(ABOUT_HOST)
!insertmacro MUI_FUNCTION_DESCRIPTION_END

!macro UseOwnView
  SetShellVarContext all
  ${If} ${RunningX64}
    SetRegView 64
  ${EndIf}
!macroend

Function .onInit
  !insertmacro UseOwnView
  ReadRegStr $Previous HKLM "${ARP}" InstallLocation
  ${If} $INSTDIR == ""  ; no /D=
    ${If} $Previous != ""
      StrCpy $INSTDIR $Previous
    ${ElseIf} ${RunningX64}
      StrCpy $INSTDIR "$PROGRAMFILES64\${PRODUCT}"
    ${Else}
      StrCpy $INSTDIR "$PROGRAMFILES32\${PRODUCT}"
    ${EndIf}
  ${EndIf}
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/NOSERVICE" $1
  ${IfNot} ${Errors}
    !insertmacro UnselectSection ${SEC_SERVICE}
  ${EndIf}
  ClearErrors
  ${GetOptions} $0 "/NOHOST" $1
  ${IfNot} ${Errors}
    !insertmacro UnselectSection ${SEC_HOST}
  ${EndIf}
  ReadRegStr $1 HKLM "${ARP}" DisplayVersion
  ${If} $1 != ""
    ${VersionCompare} $1 "${VERSION}" $2
    ClearErrors
    ${GetOptions} $0 "/DOWNGRADE" $3
    ${If} ${Errors}
    ${AndIf} $2 == 1
      MessageBox MB_ICONSTOP|MB_OK "Version $1 is installed, which is newer than ${VERSION}. With /DOWNGRADE it is replaced all the same." /SD IDOK
      SetErrorLevel ${NEWER_IS_THERE}
      Quit
    ${EndIf}
  ${EndIf}
FunctionEnd

Function un.onInit
  !insertmacro UseOwnView
FunctionEnd

Section "Uninstall"
  ; The system's own tool makes what it starts look here for its libraries, else.
  SetOutPath $TEMP
  !macro UnregisterAll FOLDER
    !insertmacro Regsvr32 ${FOLDER} TvDataServices.dll /u
    !insertmacro Regsvr32 ${FOLDER} TvFileSourceAsync.dll /u
    !insertmacro Service ${FOLDER} --unregister
    !insertmacro Take un. ${FOLDER} TKRuntimeLogger.exe
    !insertmacro Take un. ${FOLDER} tvsource.exe
    !insertmacro Take un. ${FOLDER} TvDataServices.dll
    !insertmacro Take un. ${FOLDER} TvMetadata.dll
    !insertmacro Take un. ${FOLDER} TvFileSourceAsync.dll
    Delete /REBOOTOK "$INSTDIR\${FOLDER}\*.replaced-*"
    RMDir "$INSTDIR\${FOLDER}"
  !macroend
  !insertmacro UnregisterAll x64
  !insertmacro UnregisterAll x86
  !include "${STAGE}/documents.nsh"
  RMDir "$INSTDIR\documents"
  Delete "$INSTDIR\uninstall.new"
  Delete "$INSTDIR\uninstall.exe"
  RMDir $INSTDIR
  ${If} $Failed == ""
    DeleteRegKey HKLM "${ARP}"
    ${If} ${RebootFlag}
      ; What is in use goes first, then its folders, unless somebody has put something there.
      RMDir /REBOOTOK "$INSTDIR\x64"
      RMDir /REBOOTOK "$INSTDIR\x86"
      RMDir /REBOOTOK $INSTDIR
      SetErrorLevel ${RESTART_REQUIRED}
    ${EndIf}
  ${Else}
    SetErrorLevel 2
    MessageBox MB_ICONSTOP|MB_OK "Could not be done: $Failed" /SD IDOK
  ${EndIf}
SectionEnd
