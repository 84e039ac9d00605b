; The installer for all users, both bitnesses in one. tools/package.sh calls makensis with
;   VERSION   the product's version            STAGE   the folder that has x64, x86 and documents as they are installed
;   OUTPUT    the file to make                 SIGN    what signs the uninstaller, if anything: a program that is given its name
;   LICENCE   the licence that users agree to, if there is one
;
; Silent: /S. Another folder: /D=C:\Folder (last). With or without the logging service, tvsource, and its folder in the PATH:
; /SERVICE, /NOSERVICE, /HOST, /NOHOST, /PATH, /NOPATH; otherwise as they are installed, or else the first two. What is left out is
; taken away where it is installed. Over a newer version only with /DOWNGRADE.
; Exit codes: 0 done, 1 given up by the user, 2 failed, 740 not an administrator, 1618 another one is running, 1638 a newer version is
; there, 3010 done, complete after a restart.
;
; The uninstaller has /S and the same exit codes; it copies itself first, and its caller waits for the copy only with _?=FOLDER (last).
Unicode true
SetCompressor /SOLID lzma
RequestExecutionLevel admin
ManifestSupportedOS all
ManifestDPIAware true

!include LogicLib.nsh
!include x64.nsh
!include FileFunc.nsh
!include WordFunc.nsh
!include Sections.nsh
!include MUI2.nsh

!define PRODUCT "Tavel File Source"
!define ARP "Software\Microsoft\Windows\CurrentVersion\Uninstall\TavelFileSource"
!define FAILED 2
!define RESTART_REQUIRED 3010
!define NEWER_IS_THERE 1638
!define ALREADY_RUNNING 1618
!define NOT_ADMINISTRATOR 740
!searchparse "${VERSION}" "" VERSION_MAJOR "." VERSION_MINOR "."

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

!ifdef LICENCE
  !insertmacro MUI_PAGE_LICENSE "${LICENCE}"
!endif
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE English

Var Failed    ; not empty: what could not be done, the first of it
Var Previous  ; the folder of the version that is there
Var IsInner   ; of the uninstaller: 1 if the installer called it
Var IsOurs    ; of the uninstaller: 1 if the entry among the installed programs is this installation's

!macro Fail WHAT
  ${If} $Failed == ""
    StrCpy $Failed "${WHAT}"
  ${EndIf}
!macroend

; On a system of another processor only what is of 32 bits runs as it is expected to.
!define Has64 '${IsNativeAMD64}'

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
      !insertmacro Fail $0
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

; FOLDER is x64 or x86, NAME a file in it, which is there whole or not at all.
!macro Put FOLDER NAME
  SetOutPath "$INSTDIR\${FOLDER}"
  ClearErrors
  File "/oname=${NAME}.new" "${STAGE}/${FOLDER}/${NAME}"
  ${IfNot} ${Errors}
    Push "$INSTDIR\${FOLDER}\${NAME}"
    Call FreePlace
    ClearErrors
    Rename "$INSTDIR\${FOLDER}\${NAME}.new" "$INSTDIR\${FOLDER}\${NAME}"
  ${EndIf}
  ${If} ${Errors}
    Delete "$INSTDIR\${FOLDER}\${NAME}.new"
    !insertmacro Fail "$INSTDIR\${FOLDER}\${NAME}"
  ${EndIf}
!macroend
!macro Take FOLDER NAME
  Push "$INSTDIR\${FOLDER}\${NAME}"
  Call un.FreePlace
  Delete "$INSTDIR\${FOLDER}\${NAME}.new"
  Delete /REBOOTOK "$INSTDIR\${FOLDER}\${NAME}.replaced-*"
!macroend

; What a bitness's own regsvr32 does, which loads nothing from the current folder. OPTION is /u or empty. $R9: 0 if it was done.
!macro Regsvr32 FOLDER NAME OPTION
  SetOutPath $SYSDIR
  ClearErrors
  !if "${FOLDER}" == "x64"
    ${DisableX64FSRedirection}
  !endif
  ExecWait '"$SYSDIR\regsvr32.exe" /s ${OPTION} "$INSTDIR\${FOLDER}\${NAME}"' $R9
  !if "${FOLDER}" == "x64"
    ${EnableX64FSRedirection}
  !endif
  ${If} ${Errors}
    StrCpy $R9 -1
  ${EndIf}
!macroend
!macro Register FOLDER NAME
  !insertmacro Regsvr32 ${FOLDER} ${NAME} ""
  ${If} $R9 != 0
    !insertmacro Fail "the registration of $INSTDIR\${FOLDER}\${NAME}"
  ${EndIf}
!macroend
; CLASS: one of the library's. Where it is somebody else's by now, or the library can't do it, the classes that are ours go.
!macro Unregister FOLDER NAME CLASS
  ${If} ${FileExists} "$INSTDIR\${FOLDER}\${NAME}"
    StrCpy $R0 "$INSTDIR\${FOLDER}\${NAME}"
    SetRegView 32
    !if "${FOLDER}" == "x64"
      SetRegView 64
    !endif
    StrCpy $R9 -1
    ReadRegStr $0 HKLM "Software\Classes\CLSID\${CLASS}\InprocServer32" ""
    ${If} $0 == $R0
      !insertmacro Regsvr32 ${FOLDER} ${NAME} /u
    ${EndIf}
    ${If} $R9 != 0
      Call un.TakeClasses
    ${EndIf}
    !insertmacro UseOwnView
  ${EndIf}
!macroend
; All classes whose server is the file $R0. Uses $0 to $2.
Function un.TakeClasses
  StrCpy $0 0
  ${Do}
    EnumRegKey $1 HKLM "Software\Classes\CLSID" $0
    ${If} $1 == ""
      ${ExitDo}
    ${EndIf}
    ReadRegStr $2 HKLM "Software\Classes\CLSID\$1\InprocServer32" ""
    ClearErrors
    ${If} $2 == $R0
      DeleteRegKey HKLM "Software\Classes\CLSID\{083863F1-70DE-11D0-BD40-00A0C911CE86}\Instance\$1"  ; the category of filters
      ClearErrors
      DeleteRegKey HKLM "Software\Classes\CLSID\$1"
      ${If} ${Errors}
        !insertmacro Fail "the class $1"
        IntOp $0 $0 + 1
      ${EndIf}
    ${Else}
      IntOp $0 $0 + 1
    ${EndIf}
  ${Loop}
FunctionEnd
!macro Service FOLDER OPTION
  nsExec::Exec /TIMEOUT=60000 '"$INSTDIR\${FOLDER}\TKRuntimeLogger.exe" ${OPTION}'
  Pop $R9
  ${If} $R9 != 0
    !insertmacro Fail "the registration of $INSTDIR\${FOLDER}\TKRuntimeLogger.exe"
  ${EndIf}
!macroend
!macro UseOwnView
  SetShellVarContext all
  SetRegView 32
  ${If} ${RunningX64}
    SetRegView 64
  ${EndIf}
!macroend

; Adds a folder to the system's search path, or takes away what was added, which InPath of our entry says: the folder, behind a
; semicolon where there was none. The search path may be longer than a variable here can be, so it stays in memory of the system's, and all
; else in it stays as it is.
; $R0: Add or Remove. $R1: the folder, without a semicolon. Uses $0 to $6, $R1 to $R3.
!macro ChangePath UN
Function ${UN}ChangePath
  StrCpy $R3 $R1
  StrCpy $R1 ";$R1"
  StrCpy $R2 failed
  ; HKEY_LOCAL_MACHINE; KEY_QUERY_VALUE and KEY_SET_VALUE
  System::Call 'advapi32::RegOpenKeyExW(p 0x80000002, w "SYSTEM\CurrentControlSet\Control\Session Manager\Environment", i 0, i 3, *p .r0) i .r1'
  ${If} $1 == 0
    System::Call 'advapi32::RegQueryValueExW(p r0, w "Path", p 0, *i .r2, p 0, *i .r3) i .r1'
    ${If} $1 == 0
    ${AndIf} $2 >= 1  ; REG_SZ
    ${AndIf} $2 <= 2  ; REG_EXPAND_SZ
      StrLen $4 $R1
      IntOp $4 $4 * 2
      IntOp $4 $4 + $3
      IntOp $4 $4 + 4  ; two ends: the value may have none
      System::Call 'kernel32::GlobalAlloc(i 0x40, i r4) p .r4'
      ${If} $4 != 0
        System::Call 'advapi32::RegQueryValueExW(p r0, w "Path", p 0, *i .r2, p r4, *i r3) i .r1'
        ${If} $1 == 0
          Call ${UN}EditPath
          ${If} $R2 == done
            System::Call 'kernel32::lstrlenW(p r4) i .r3'
            IntOp $3 $3 + 1
            IntOp $3 $3 * 2
            System::Call 'advapi32::RegSetValueExW(p r0, w "Path", i 0, i r2, p r4, i r3) i .r1'
            ${If} $1 != 0
              StrCpy $R2 failed
            ${EndIf}
          ${EndIf}
        ${EndIf}
        System::Call 'kernel32::GlobalFree(p r4)'
      ${EndIf}
    ${EndIf}
    System::Call 'advapi32::RegCloseKey(p r0)'
  ${EndIf}
  ${If} $R2 == failed
    !insertmacro Fail "the change of PATH"
  ${ElseIf} $R0 == Remove
    DeleteRegValue HKLM "${ARP}" InPath
  ${EndIf}
  ${If} $R2 == done
    SendMessage ${HWND_BROADCAST} ${WM_SETTINGCHANGE} 0 "STR:Environment" /TIMEOUT=5000
  ${EndIf}
FunctionEnd
; Of the text at $4. $R1: the folder behind a semicolon; $R3: without. $R2, then: done or nothing. Uses $1, $3, $5 and $6.
Function ${UN}EditPath
  StrCpy $R2 nothing
  StrLen $3 $R3
  ${If} $R0 == Add
    System::Call 'shlwapi::StrCmpNIW(p r4, w R3, i r3) i .r5'
    IntOp $6 $3 * 2
    IntOp $6 $6 + $4
    ${If} $5 == 0
      System::Call '*$6(&i2 .r1)'
      ${If} $1 == 0
      ${OrIf} $1 == 59  ; a semicolon: it stands first
        Return
      ${EndIf}
    ${EndIf}
  ${EndIf}
  IntOp $3 $3 + 1
  IntOp $3 $3 * 2
  StrCpy $5 $4
  ${Do}
    System::Call 'shlwapi::StrStrIW(p r5, w R1) p .r5'
    ${If} $5 == 0
      ${ExitDo}
    ${EndIf}
    IntOp $6 $5 + $3
    System::Call '*$6(&i2 .r1)'
    ${If} $1 == 0
    ${OrIf} $1 == 59
      ${If} $R0 == Remove
        ReadRegStr $1 HKLM "${ARP}" InPath
        ${If} $1 == $R3
          IntOp $5 $5 + 2  ; the semicolon was there before
        ${EndIf}
        System::Call 'kernel32::lstrlenW(p r6) i .r1'
        IntOp $1 $1 + 1
        IntOp $1 $1 * 2
        System::Call 'kernel32::RtlMoveMemory(p r5, p r6, i r1)'
        StrCpy $R2 done
      ${EndIf}
      Return
    ${EndIf}
    IntOp $5 $5 + 2
  ${Loop}
  ${If} $R0 == Add
    System::Call 'kernel32::lstrlenW(p r4) i .r5'
    ${If} $5 == 0
      StrCpy $R1 $R3
    ${Else}
      IntOp $5 $5 - 1
      IntOp $5 $5 * 2
      IntOp $5 $5 + $4
      System::Call '*$5(&i2 .r1)'
      ${If} $1 == 59
        StrCpy $R1 $R3
      ${EndIf}
    ${EndIf}
    WriteRegStr HKLM "${ARP}" InPath $R1  ; before: what isn't there does no harm
    System::Call 'kernel32::lstrcatW(p r4, w R1)'
    StrCpy $R2 done
  ${EndIf}
FunctionEnd
!macroend
!insertmacro ChangePath ""
!insertmacro ChangePath un.

; The former version goes first, as only its uninstaller knows what it has put; but not before the new one has a place. Then the first
; thing on the disk is what takes everything away again, so that an installation that breaks off can be taken away, too.
Section "-Uninstaller"
  CreateDirectory $INSTDIR
  ClearErrors
  GetTempFileName $0 $INSTDIR
  ${If} ${Errors}
    RMDir $INSTDIR
    !insertmacro Fail "$INSTDIR: nothing can be written there"
    Call GiveUp
  ${EndIf}
  Delete $0
  ${If} $Previous != ""
    ClearErrors
    ExecWait '"$Previous\uninstall.exe" /S /INNER _?=$Previous' $R9
    ${If} ${Errors}
      StrCpy $R9 ${FAILED}
    ${EndIf}
    ${If} $R9 == ${RESTART_REQUIRED}
      SetRebootFlag true
      StrCpy $R9 0
    ${EndIf}
    ${If} $R9 == 0
      Delete "$Previous\uninstall.exe"
      RMDir $Previous
    ${ElseIf} $Previous != $INSTDIR  ; in its own folder it is repaired
      !insertmacro Fail "the removal of $Previous"
      Call GiveUp
    ${EndIf}
  ${EndIf}
  SetOutPath $INSTDIR
  ClearErrors
  WriteUninstaller "$INSTDIR\uninstall.new"
  ${IfNot} ${Errors}
    Delete "$INSTDIR\uninstall.exe"
    ClearErrors
    Rename "$INSTDIR\uninstall.new" "$INSTDIR\uninstall.exe"
  ${EndIf}
  ${If} ${Errors}
    Delete "$INSTDIR\uninstall.new"
    !insertmacro Fail "$INSTDIR\uninstall.exe"
    Call GiveUp
  ${EndIf}
  WriteRegStr HKLM "${ARP}" DisplayName "${PRODUCT}"
  WriteRegStr HKLM "${ARP}" DisplayVersion "0.0.0"  ; until all is there
  WriteRegDWORD HKLM "${ARP}" VersionMajor ${VERSION_MAJOR}
  WriteRegDWORD HKLM "${ARP}" VersionMinor ${VERSION_MINOR}
  ${GetTime} "" "L" $0 $1 $2 $3 $4 $5 $6
  WriteRegStr HKLM "${ARP}" InstallDate "$2$1$0"
  WriteRegStr HKLM "${ARP}" Publisher "Tavel"
  WriteRegStr HKLM "${ARP}" InstallLocation "$INSTDIR"
  WriteRegStr HKLM "${ARP}" DisplayIcon "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "${ARP}" UninstallString '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${ARP}" QuietUninstallString '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${ARP}" NoModify 1
  WriteRegDWORD HKLM "${ARP}" NoRepair 1
  Call Remember
SectionEnd

Section "Filter, MIME dictionary, data services" SEC_FILTER
  SectionIn RO
  ${If} ${Has64}
    !insertmacro Put x64 TvFileSourceAsync.dll
    !insertmacro Put x64 TvMetadata.dll
    !insertmacro Put x64 TvDataServices.dll
    !insertmacro Register x64 TvFileSourceAsync.dll
    !insertmacro Register x64 TvDataServices.dll
  ${EndIf}
  !insertmacro Put x86 TvFileSourceAsync.dll
  !insertmacro Put x86 TvMetadata.dll
  !insertmacro Put x86 TvDataServices.dll
  !insertmacro Register x86 TvFileSourceAsync.dll
  !insertmacro Register x86 TvDataServices.dll
  SetOutPath "$INSTDIR\documents"
  ClearErrors
  File /r "${STAGE}/documents/*.*"
  ${If} ${Errors}
    !insertmacro Fail "$INSTDIR\documents"
  ${EndIf}
SectionEnd

; One program serves processes of both bitnesses.
Section "Logging service" SEC_SERVICE
  ${If} ${Has64}
    !insertmacro Put x64 TKRuntimeLogger.exe
    !insertmacro Service x64 --register
  ${Else}
    !insertmacro Put x86 TKRuntimeLogger.exe
    !insertmacro Service x86 --register
  ${EndIf}
SectionEnd

Section "tvsource, a console host" SEC_HOST
  ${If} ${Has64}
    !insertmacro Put x64 tvsource.exe
  ${Else}
    !insertmacro Put x86 tvsource.exe
  ${EndIf}
SectionEnd

Section /o "tvsource in the PATH" SEC_PATH
  ${If} ${SectionIsSelected} ${SEC_HOST}
    StrCpy $R0 Add
    StrCpy $R1 "$INSTDIR\x86"
    ${If} ${Has64}
      StrCpy $R1 "$INSTDIR\x64"
    ${EndIf}
    Call ChangePath
  ${EndIf}
SectionEnd

Section "-Result"
  ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
  WriteRegDWORD HKLM "${ARP}" EstimatedSize $0
  ${If} $Failed != ""
    Call GiveUp
  ${EndIf}
  WriteRegStr HKLM "${ARP}" DisplayVersion "${VERSION}"
  ${If} ${RebootFlag}
    SetErrorLevel ${RESTART_REQUIRED}
    MessageBox MB_ICONINFORMATION|MB_OK "Programs are using the former version. It goes when the system is started again." /SD IDOK
  ${EndIf}
SectionEnd

!macro Remember SECTION VALUE
  StrCpy $0 0
  ${If} ${SectionIsSelected} ${SECTION}
    StrCpy $0 1
  ${EndIf}
  WriteRegDWORD HKLM "${ARP}" ${VALUE} $0
!macroend
Function Remember
  !insertmacro Remember ${SEC_SERVICE} HasService
  !insertmacro Remember ${SEC_HOST} HasHost
  !insertmacro Remember ${SEC_PATH} HasPath
FunctionEnd

Function GiveUp
  MessageBox MB_ICONSTOP|MB_OK "Could not be done: $Failed" /SD IDOK
  SetErrorLevel ${FAILED}
  Abort "Could not be done: $Failed"
FunctionEnd

LangString ABOUT_FILTER ${LANG_ENGLISH} "The DirectShow source filter for 64-bit and 32-bit programs, the MIME dictionary and the data services."
LangString ABOUT_SERVICE ${LANG_ENGLISH} "TKRuntimeLogger.exe: shows and keeps what the filter logs."
LangString ABOUT_PATH ${LANG_ENGLISH} "Then tvsource is found by its name alone."
LangString ABOUT_HOST ${LANG_ENGLISH} "tvsource.exe: plays, describes and checks sources at the command line."
!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
!insertmacro MUI_DESCRIPTION_TEXT ${SEC_FILTER} $(ABOUT_FILTER)
!insertmacro MUI_DESCRIPTION_TEXT ${SEC_SERVICE} $(ABOUT_SERVICE)
!insertmacro MUI_DESCRIPTION_TEXT ${SEC_HOST} $(ABOUT_HOST)
!insertmacro MUI_DESCRIPTION_TEXT ${SEC_PATH} $(ABOUT_PATH)
!insertmacro MUI_FUNCTION_DESCRIPTION_END

; As it was chosen before, or as an option says: /NAME with it, /NONAME without. $0: the command line.
!macro Choose NAME SECTION VALUE
  ClearErrors
  ReadRegDWORD $1 HKLM "${ARP}" ${VALUE}
  ${IfNot} ${Errors}
    ${If} $1 == 0
      !insertmacro UnselectSection ${SECTION}
    ${Else}
      !insertmacro SelectSection ${SECTION}
    ${EndIf}
  ${EndIf}
  ClearErrors
  ${GetOptions} $0 "/NO${NAME}" $1
  ${IfNot} ${Errors}
    !insertmacro UnselectSection ${SECTION}
  ${EndIf}
  ClearErrors
  ${GetOptions} $0 "/${NAME}" $1
  ${IfNot} ${Errors}
    !insertmacro SelectSection ${SECTION}
  ${EndIf}
!macroend

; Both, the installer and the uninstaller, change what is one for the whole machine.
!macro BeAlone
  UserInfo::GetAccountType
  Pop $0
  ${If} $0 != Admin
    MessageBox MB_ICONSTOP|MB_OK "Only administrators can do this." /SD IDOK
    SetErrorLevel ${NOT_ADMINISTRATOR}
    Quit
  ${EndIf}
  System::Call 'kernel32::CreateMutexW(p 0, i 0, w "Global\TavelFileSource setup") p .r1 ? e'
  Pop $0
  ${If} $1 == 0  ; another user's
  ${OrIf} $0 == 183  ; ERROR_ALREADY_EXISTS; the mutex goes with its process
    MessageBox MB_ICONSTOP|MB_OK "Another installation of ${PRODUCT} is running." /SD IDOK
    SetErrorLevel ${ALREADY_RUNNING}
    Quit
  ${EndIf}
!macroend

; A command line that isn't understood ends the installer before anything is changed.
!macro Refuse WHAT
  MessageBox MB_ICONSTOP|MB_OK "${WHAT}" /SD IDOK
  SetErrorLevel ${FAILED}
  Quit
!macroend
!macro Forget OPTION
  ${WordReplace} $0 " /${OPTION} " "  " "+" $0
!macroend
Function CheckCommandLine
  ; NSIS takes /D= for itself and leaves no folder where it finds none: a relative one, quotes, a drive that isn't there.
  ${If} $INSTDIR == ""
    System::Call 'kernel32::GetCommandLineW() w .r0'
    System::Call 'shlwapi::StrStrIW(w r0, w "/D=") p .r1'
    ${If} $1 != 0
      !insertmacro Refuse "/D= is the last option, and has a full path behind it, without quotes, to a folder that can be made: $0"
    ${EndIf}
  ${EndIf}
  ${GetParameters} $0
  ${WordReplace} " $0 " " " "  " "+" $0
  !insertmacro Forget S
  !insertmacro Forget NCRC
  !insertmacro Forget SERVICE
  !insertmacro Forget NOSERVICE
  !insertmacro Forget HOST
  !insertmacro Forget NOHOST
  !insertmacro Forget PATH
  !insertmacro Forget NOPATH
  !insertmacro Forget DOWNGRADE
  ${WordReplace} $0 " " "" "+" $0
  ${If} $0 != ""
    !insertmacro Refuse "There is no such option: $0"
  ${EndIf}
FunctionEnd

Function .onInit
  Call CheckCommandLine
  !insertmacro BeAlone
  !insertmacro UseOwnView
  ReadRegStr $Previous HKLM "${ARP}" InstallLocation
  ${IfNot} ${FileExists} "$Previous\uninstall.exe"
    StrCpy $Previous ""
  ${EndIf}
  ${If} $INSTDIR == ""  ; no /D=
    ${If} $Previous != ""
      StrCpy $INSTDIR $Previous
    ${ElseIf} ${Has64}
      StrCpy $INSTDIR "$PROGRAMFILES64\${PRODUCT}"
    ${Else}
      StrCpy $INSTDIR "$PROGRAMFILES32\${PRODUCT}"
    ${EndIf}
  ${EndIf}
  ${GetParameters} $0
  !insertmacro Choose SERVICE ${SEC_SERVICE} HasService
  !insertmacro Choose HOST ${SEC_HOST} HasHost
  !insertmacro Choose PATH ${SEC_PATH} HasPath
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
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/INNER" $1  ; the installer is the one that is alone
  ${If} ${Errors}
    !insertmacro BeAlone
  ${Else}
    StrCpy $IsInner 1
  ${EndIf}
  !insertmacro UseOwnView
  ; What an installation left that broke off has the entry of a whole one in another folder.
  StrCpy $IsOurs 1
  ReadRegStr $0 HKLM "${ARP}" InstallLocation
  ${If} ${FileExists} "$0\uninstall.exe"
    GetFullPathName $0 $0
    GetFullPathName $1 $INSTDIR
    ${If} $0 != $1
      StrCpy $IsOurs 0
    ${EndIf}
  ${EndIf}
FunctionEnd

; One that is open can't be renamed. Where it goes at the next start, the installer's new one would go with it.
!macro TakeDocument NAME
  ${If} $IsInner == 1
    Delete "$INSTDIR\documents\${NAME}"
  ${Else}
    Delete /REBOOTOK "$INSTDIR\documents\${NAME}"
  ${EndIf}
!macroend

!macro TakeFolder FOLDER
  !insertmacro Unregister ${FOLDER} TvDataServices.dll {8DEF38CF-43CC-44C3-A8D8-A69395CE9022}
  !insertmacro Unregister ${FOLDER} TvFileSourceAsync.dll {065C46E9-C13D-4245-9675-0C0B7BDFC2F3}
  ${If} ${FileExists} "$INSTDIR\${FOLDER}\TKRuntimeLogger.exe"
    !insertmacro Service ${FOLDER} --unregister
  ${EndIf}
  SetOutPath $SYSDIR  ; nobody stands in the folder that goes
  ; A service that couldn't be unregistered can be so when an installation has repaired it.
  ${If} $Failed == ""
    !insertmacro Take ${FOLDER} TKRuntimeLogger.exe
    !insertmacro Take ${FOLDER} tvsource.exe
    !insertmacro Take ${FOLDER} TvDataServices.dll
    !insertmacro Take ${FOLDER} TvMetadata.dll
    !insertmacro Take ${FOLDER} TvFileSourceAsync.dll
    RMDir "$INSTDIR\${FOLDER}"
  ${EndIf}
!macroend

Section "Uninstall"
  ReadRegStr $R1 HKLM "${ARP}" InPath
  ${If} $R1 != ""
  ${AndIf} $IsOurs == 1
    StrCpy $0 $R1 1
    ${If} $0 == ";"
      StrCpy $R1 $R1 "" 1
    ${EndIf}
    StrCpy $R0 Remove
    Call un.ChangePath
  ${EndIf}
  !insertmacro TakeFolder x64
  !insertmacro TakeFolder x86
  ${If} $Failed == ""
    !include "${STAGE}/documents.nsh"
    RMDir "$INSTDIR\documents"
    Delete "$INSTDIR\uninstall.new"
    Delete "$INSTDIR\uninstall.exe"
    RMDir $INSTDIR
    ${If} $IsOurs == 1
      DeleteRegKey HKLM "${ARP}"
    ${EndIf}
    ${If} ${RebootFlag}
      ; What is in use goes first, then its folders, unless somebody has put something there.
      RMDir /REBOOTOK "$INSTDIR\x64"
      RMDir /REBOOTOK "$INSTDIR\x86"
      RMDir /REBOOTOK "$INSTDIR\documents"
      RMDir /REBOOTOK $INSTDIR
      SetErrorLevel ${RESTART_REQUIRED}
      MessageBox MB_ICONINFORMATION|MB_OK "Programs are using some of the files. These go when the system is started again." /SD IDOK
    ${EndIf}
  ${Else}
    SetErrorLevel ${FAILED}
    MessageBox MB_ICONSTOP|MB_OK "Could not be done: $Failed" /SD IDOK
  ${EndIf}
SectionEnd
