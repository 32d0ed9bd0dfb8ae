; The installer of the component, for one kind of Windows:
;
;   makensis -DARCHITECTURE=x64 -DSTAGING=folder -DVERSION=1.2.3 -DSIZE=kilobytes -DLIMIT=seconds -DOUTPUT=setup.exe
;            installer.nsi
;
; x64 is for 64-bit Windows and brings both components, for hosts of either bitness; x86 is for 32-bit Windows. The
; staging folder holds x64/ and x86/ with the binaries, and the text file. ./package calls this.
;
; What is in a folder already is set aside first, under the name with ".old" behind it, so that an installation that
; fails can be undone to the last file.

Unicode true
!if "${ARCHITECTURE}" == "x64"
  Target amd64-unicode
!else
  Target x86-unicode
!endif
SetCompressor /SOLID lzma
SetDateSave on

!include LogicLib.nsh
!include MUI2.nsh
!include WinVer.nsh
!include x64.nsh

!define NAME "Vantor MKV Demultiplexer"
!define COMPONENT "vantormkv.ax"
!define TOOL "vantor-mkv.exe"
!define TEXT "vantor-mkv.txt"
!define UNINSTALLER "uninstall-vantor-mkv.exe"
!define ENTRY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${NAME}"

; Exit codes, beside 0 (done) and 1 (cancelled by the user).
!define IN_USE 2
!define NOT_REGISTERED 3
!define NOT_HERE 4
!define NOT_WRITTEN 5

Name "${NAME}"
OutFile "${OUTPUT}"
BrandingText "${NAME} ${VERSION}"
RequestExecutionLevel admin
ManifestSupportedOS all
ManifestDPIAware true
!if "${ARCHITECTURE}" == "x64"
  InstallDir "$PROGRAMFILES64\${NAME}"
!else
  InstallDir "$PROGRAMFILES32\${NAME}"
!endif
InstallDirRegKey HKLM "${ENTRY}" "InstallLocation"
ShowInstDetails show
ShowUninstDetails show

VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "${NAME}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "FileDescription" "${NAME} installer"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "CompanyName" "Vantor"
VIAddVersionKey "LegalCopyright" "Vantor"

!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; ---- What is installed, in a folder: binaries, which may be in use, and all files.

!macro EachBinary DO FOLDER
  !insertmacro ${DO} "${FOLDER}" "${COMPONENT}"
  !insertmacro ${DO} "${FOLDER}" "${TOOL}"
  !if "${ARCHITECTURE}" == "x64"
    !insertmacro ${DO} "${FOLDER}" "x86\${COMPONENT}"
    !insertmacro ${DO} "${FOLDER}" "x86\${TOOL}"
  !endif
!macroend

!macro EachFile DO FOLDER
  !insertmacro EachBinary ${DO} "${FOLDER}"
  !insertmacro ${DO} "${FOLDER}" "${TEXT}"
  !insertmacro ${DO} "${FOLDER}" "${UNINSTALLER}"
!macroend

; The error flag is set when one of these fails.

!macro SetAside FOLDER FILE
  ${If} ${FileExists} "${FOLDER}\${FILE}"
    Delete "${FOLDER}\${FILE}.old"
    Rename "${FOLDER}\${FILE}" "${FOLDER}\${FILE}.old"
  ${EndIf}
!macroend

!macro PutBack FOLDER FILE
  ${If} ${FileExists} "${FOLDER}\${FILE}.old"
    Rename "${FOLDER}\${FILE}.old" "${FOLDER}\${FILE}"
  ${EndIf}
!macroend

!macro Remove FOLDER FILE
  Delete "${FOLDER}\${FILE}"
!macroend

!macro RemoveOld FOLDER FILE
  Delete "${FOLDER}\${FILE}.old"
!macroend

; Only empty folders go.
!macro RemoveFolders FOLDER
  RMDir "${FOLDER}\x86"
  RMDir "${FOLDER}"
!macroend

; ---- What installer and uninstaller share.

Var used    ; a file that is in use, or nothing
Var result  ; of the last regsvr32: its exit code, or a word when it has none; 0 is success

; A program or component that runs cannot be opened for writing.
!macro Probe FOLDER FILE
  ${If} ${FileExists} "${FOLDER}\${FILE}"
    ClearErrors
    FileOpen $0 "${FOLDER}\${FILE}" a
    ${If} ${Errors}
      StrCpy $used "${FOLDER}\${FILE}"
    ${Else}
      FileClose $0
    ${EndIf}
  ${EndIf}
!macroend

; regsvr32 of a component's own bitness, which is the only one that can load it. A component that cannot be registered
; may say so in a message box, with /s too; where nobody is there to close it, regsvr32 is killed after a while.
!if "${ARCHITECTURE}" == "x64"
  !define REGSVR32_X86 "$WINDIR\SysWOW64\regsvr32.exe"
  !define STARTUPINFO_SIZE 104
  !define PROCESS_INFORMATION_SIZE 24
!else
  !define REGSVR32_X86 "$SYSDIR\regsvr32.exe"
  !define STARTUPINFO_SIZE 68
  !define PROCESS_INFORMATION_SIZE 16
!endif

; Runs the command line in $R0 to its end, or kills it: then $result is "timeout".
!macro ExecAtMost
  System::Alloc ${STARTUPINFO_SIZE}  ; zeros, but for the size
  Pop $R1
  System::Call '*$R1(i ${STARTUPINFO_SIZE})'
  System::Alloc ${PROCESS_INFORMATION_SIZE}
  Pop $R2
  System::Call 'kernel32::CreateProcess(p 0, t R0, p 0, p 0, i 0, i 0, p 0, p 0, p R1, p R2) i .R3'
  ${If} $R3 != 0
    System::Call '*$R2(p .R4, p .R5)'  ; the process and its thread
    System::Call 'kernel32::WaitForSingleObject(p R4, i ${LIMIT}000) i .R3'
    ${If} $R3 == 0
      System::Call 'kernel32::GetExitCodeProcess(p R4, *i .R3)'
      StrCpy $result $R3
    ${Else}
      System::Call 'kernel32::TerminateProcess(p R4, i 1)'
      System::Call 'kernel32::WaitForSingleObject(p R4, i ${LIMIT}000)'
      StrCpy $result "timeout"
    ${EndIf}
    System::Call 'kernel32::CloseHandle(p R5)'
    System::Call 'kernel32::CloseHandle(p R4)'
  ${EndIf}
  System::Free $R2
  System::Free $R1
!macroend

!macro Regsvr32 PROGRAM SWITCHES FILE
  StrCpy $result "error"
  ${If} ${Silent}
    StrCpy $R0 '"${PROGRAM}" ${SWITCHES} "${FILE}"'
    !insertmacro ExecAtMost
  ${Else}
    ExecWait '"${PROGRAM}" ${SWITCHES} "${FILE}"' $result
  ${EndIf}
  DetailPrint "regsvr32 ${SWITCHES} ${FILE}: $result"
!macroend

!macro UnregisterComponents FOLDER
  !if "${ARCHITECTURE}" == "x64"
    ${If} ${FileExists} "${FOLDER}\x86\${COMPONENT}"
      !insertmacro Regsvr32 "${REGSVR32_X86}" "/s /u" "${FOLDER}\x86\${COMPONENT}"
    ${EndIf}
  !endif
  ${If} ${FileExists} "${FOLDER}\${COMPONENT}"
    !insertmacro Regsvr32 "$SYSDIR\regsvr32.exe" "/s /u" "${FOLDER}\${COMPONENT}"
  ${EndIf}
!macroend

; Stops at the first component that cannot be registered: its path is then in $1, and $result is not 0.
!macro RegisterComponents FOLDER
  StrCpy $result 0
  ${If} ${FileExists} "${FOLDER}\${COMPONENT}"
    StrCpy $1 "${FOLDER}\${COMPONENT}"
    !insertmacro Regsvr32 "$SYSDIR\regsvr32.exe" "/s" "$1"
  ${EndIf}
  !if "${ARCHITECTURE}" == "x64"
    ${If} $result == 0
    ${AndIf} ${FileExists} "${FOLDER}\x86\${COMPONENT}"
      StrCpy $1 "${FOLDER}\x86\${COMPONENT}"
      !insertmacro Regsvr32 "${REGSVR32_X86}" "/s" "$1"
    ${EndIf}
  !endif
!macroend

!macro Stop CODE TEXT
  SetErrorLevel ${CODE}
  MessageBox MB_OK|MB_ICONSTOP "${TEXT}" /SD IDOK
  Abort "${TEXT}"
!macroend

!macro AskWhileInUse UN
  Function ${UN}RefuseWhileInUse
    ; In $2 and $3: the folders to look at.
    again:
    StrCpy $used ""
    !insertmacro EachBinary Probe "$2"
    !insertmacro EachBinary Probe "$3"
    ${If} $used == ""
      Return
    ${EndIf}
    SetErrorLevel ${IN_USE}
    MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION "This file is in use, or must not be written:$\r$\n$\r$\n$used$\r$\n$\r$\nPlease \
close the programs that play or examine media files, then try again. Nothing has been changed." /SD IDCANCEL IDRETRY again
    Abort "$used is in use. Nothing has been changed."
  FunctionEnd
!macroend
!insertmacro AskWhileInUse ""
!insertmacro AskWhileInUse "un."

!macro RefuseOthers UN
  Function ${UN}RefuseOthers
    UserInfo::GetAccountType
    Pop $0
    ${If} $0 != "Admin"
      !insertmacro Stop ${NOT_HERE} "${NAME} is installed and removed for all users of the computer, which an administrator has to do."
    ${EndIf}
  FunctionEnd
!macroend
!insertmacro RefuseOthers ""
!insertmacro RefuseOthers "un."

; ---- Installing.

Var previous  ; the folder of the version that is installed, or the folder to install to
Var first     ; "yes": no version is installed

Function .onInit
  ${IfNot} ${AtLeastWin7}
    !insertmacro Stop ${NOT_HERE} "${NAME} is for Windows 7 and later."
  ${EndIf}
  !if "${ARCHITECTURE}" == "x86"
    ${If} ${RunningX64}
      !insertmacro Stop ${NOT_HERE} "This is a 64-bit Windows: please take the x64 installer, which is for programs of 32 bits too."
    ${EndIf}
  !endif
  Call RefuseOthers
FunctionEnd

Function FindPrevious
  StrCpy $first "no"
  ReadRegStr $previous HKLM "${ENTRY}" "InstallLocation"
  ${If} $previous == ""
    StrCpy $first "yes"
    StrCpy $previous $INSTDIR
  ${EndIf}
FunctionEnd

Function Undo
  !insertmacro UnregisterComponents "$INSTDIR"
  !insertmacro EachFile Remove "$INSTDIR"
  Call PutBackOld
FunctionEnd

Function PutBackOld
  !insertmacro EachFile PutBack "$INSTDIR"
  SetOutPath $TEMP  ; a working folder cannot be removed
  !insertmacro RemoveFolders "$INSTDIR"
  ${If} $first == "no"
    !insertmacro RegisterComponents "$previous"
  ${EndIf}
FunctionEnd

Section
  Call FindPrevious
  StrCpy $2 $INSTDIR
  StrCpy $3 $previous
  Call RefuseWhileInUse

  ${If} $first == "no"
    !insertmacro UnregisterComponents "$previous"
  ${EndIf}
  ClearErrors
  !insertmacro EachFile SetAside "$INSTDIR"
  ${If} ${Errors}
    Call PutBackOld
    !insertmacro Stop ${NOT_WRITTEN} "A file in $INSTDIR cannot be replaced. Nothing has been changed."
  ${EndIf}

  SetOverwrite try
  ClearErrors
  SetOutPath "$INSTDIR"
  File "${STAGING}/${ARCHITECTURE}/${COMPONENT}"
  File "${STAGING}/${ARCHITECTURE}/${TOOL}"
  File "${STAGING}/${TEXT}"
  WriteUninstaller "$INSTDIR\${UNINSTALLER}"
  !if "${ARCHITECTURE}" == "x64"
    ${If} ${FileExists} "${REGSVR32_X86}"
      SetOutPath "$INSTDIR\x86"
      File "${STAGING}/x86/${COMPONENT}"
      File "${STAGING}/x86/${TOOL}"
    ${Else}
      DetailPrint "This Windows runs no programs of 32 bits: the x86 component is left out."
    ${EndIf}
  !endif
  ${If} ${Errors}
    Call Undo
    !insertmacro Stop ${NOT_WRITTEN} "The files cannot be written to $INSTDIR. Nothing has been changed."
  ${EndIf}

  !insertmacro RegisterComponents "$INSTDIR"
  ${If} $result != 0
    StrCpy $4 $1
    StrCpy $5 $result
    Call Undo
    !insertmacro Stop ${NOT_REGISTERED} "$4 cannot be registered: regsvr32 ended with $5. What had been installed has been removed again."
  ${EndIf}

  WriteRegStr HKLM "${ENTRY}" "DisplayName" "${NAME}"
  WriteRegStr HKLM "${ENTRY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${ENTRY}" "Publisher" "Vantor"
  WriteRegStr HKLM "${ENTRY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${ENTRY}" "UninstallString" '"$INSTDIR\${UNINSTALLER}"'
  WriteRegStr HKLM "${ENTRY}" "QuietUninstallString" '"$INSTDIR\${UNINSTALLER}" /S'
  WriteRegDWORD HKLM "${ENTRY}" "EstimatedSize" ${SIZE}
  WriteRegDWORD HKLM "${ENTRY}" "NoModify" 1
  WriteRegDWORD HKLM "${ENTRY}" "NoRepair" 1

  !insertmacro EachFile RemoveOld "$INSTDIR"
  ${If} $previous != $INSTDIR
    !insertmacro EachFile Remove "$previous"
    !insertmacro RemoveFolders "$previous"
  ${EndIf}
  SetErrorLevel 0
SectionEnd

; ---- Removing.

Function un.onInit
  Call un.RefuseOthers
FunctionEnd

Section Uninstall
  StrCpy $2 $INSTDIR
  StrCpy $3 $INSTDIR
  Call un.RefuseWhileInUse
  !insertmacro UnregisterComponents "$INSTDIR"
  !insertmacro EachFile Remove "$INSTDIR"
  !insertmacro EachFile RemoveOld "$INSTDIR"
  SetOutPath $TEMP
  !insertmacro RemoveFolders "$INSTDIR"
  DeleteRegKey HKLM "${ENTRY}"
  SetErrorLevel 0
SectionEnd
