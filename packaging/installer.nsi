; The installer of the component, for one kind of Windows:
;
;   makensis -DARCHITECTURE=x64 -DSTAGING=folder -DVERSION=1.2.3 -DSIZE=kilobytes -DLIMIT=seconds -DOUTPUT=setup.exe
;            installer.nsi
;
; x64 is for 64-bit Windows and brings both components, for hosts of either bitness; x86 is for 32-bit Windows. The
; staging folder holds x64/ and x86/ with the binaries, and the text file. ./package calls this.
;
; The complete component comes along where it is asked for, by its checkbox or by /COMPLETE on the command line; an
; installation without it removes the one that an earlier version brought.
;
; What the previous version's folder and the new one hold already is set aside first, under the name with ".old" behind
; it, so that an installation that fails can be undone to the last file. In the end only files of that name are removed,
; never one by the name it is installed under: the two folders may be the same in two spellings (by a junction, a short
; name, a drive of subst), or one may lie in the other, and then what was a previous file's name is a new file's.

Unicode true
!if "${ARCHITECTURE}" == "x64"
  Target amd64-unicode
!else
  Target x86-unicode
!endif
SetCompressor /SOLID lzma
SetDateSave on

!include FileFunc.nsh
!include LogicLib.nsh
!include MUI2.nsh
!include Sections.nsh
!include WinVer.nsh
!include x64.nsh

!define NAME "Vantor MKV Demultiplexer"
!define COMPONENT "vantormkv.ax"
!define COMPLETE "vantormkv-complete.ax"
!define TOOL "vantor-mkv.exe"
!define TEXT "vantor-mkv.txt"
!define UNINSTALLER "uninstall-vantor-mkv.exe"
!define FILE_ATTRIBUTE_REPARSE_POINT 0x400
!define ENTRY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${NAME}"

; Exit codes, beside 0 (done) and 1 (cancelled by the user).
!define IN_USE 2
!define NOT_REGISTERED 3
!define NOT_HERE 4
!define NOT_WRITTEN 5
!define NOT_UNREGISTERED 6

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

!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; Only says whether it is chosen; the section below does the work, all or nothing.
Section /o "Complete demultiplexer, for files that play in part only" chosen
SectionEnd

; ---- What is installed, in a folder: binaries, which may be in use, and all files.

!macro EachBinary DO FOLDER
  !insertmacro ${DO} "${FOLDER}" "${COMPONENT}"
  !insertmacro ${DO} "${FOLDER}" "${COMPLETE}"
  !insertmacro ${DO} "${FOLDER}" "${TOOL}"
  !if "${ARCHITECTURE}" == "x64"
    !insertmacro ${DO} "${FOLDER}" "x86\${COMPONENT}"
    !insertmacro ${DO} "${FOLDER}" "x86\${COMPLETE}"
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

; Only empty folders go. A junction or a symbolic link would go whatever is behind it, and the installation may be.
!macro RemoveFolder FOLDER
  StrCpy $R0 "${FOLDER}"
  System::Call 'kernel32::GetFileAttributes(t R0) i .R0'
  IntOp $R0 $R0 & ${FILE_ATTRIBUTE_REPARSE_POINT}
  ${If} $R0 == 0
    RMDir "${FOLDER}"
  ${EndIf}
!macroend

; A working folder cannot be removed, be it that of a program started here, or of its console, which ends a little later.
!macro LeaveFolders
  SetOutPath $TEMP
!macroend

!macro RemoveFolders FOLDER
  !insertmacro RemoveFolder "${FOLDER}\x86"
  !insertmacro RemoveFolder "${FOLDER}"
!macroend

; ---- What installer and uninstaller share.

Var used    ; a file that is in use, or nothing
Var result  ; of the last regsvr32: its exit code, or a word when it has none; 0 is success
Var failed  ; what could not be unregistered, with the result, or nothing

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

!macro Unregister PROGRAM FILE
  ${If} ${FileExists} "${FILE}"
    !insertmacro Regsvr32 "${PROGRAM}" "/s /u" "${FILE}"
    ${If} $result != 0
      StrCpy $failed "$failed${FILE} (regsvr32 ended with $result)$\r$\n"
    ${EndIf}
  ${EndIf}
!macroend

; Goes on after a component that cannot be unregistered. The complete one goes first: what the two have in common is the
; other's.
!macro UnregisterComponents FOLDER
  StrCpy $failed ""
  !if "${ARCHITECTURE}" == "x64"
    !insertmacro Unregister "${REGSVR32_X86}" "${FOLDER}\x86\${COMPLETE}"
    !insertmacro Unregister "${REGSVR32_X86}" "${FOLDER}\x86\${COMPONENT}"
  !endif
  !insertmacro Unregister "$SYSDIR\regsvr32.exe" "${FOLDER}\${COMPLETE}"
  !insertmacro Unregister "$SYSDIR\regsvr32.exe" "${FOLDER}\${COMPONENT}"
!macroend

!macro Register PROGRAM FILE
  ${If} $result == 0
  ${AndIf} ${FileExists} "${FILE}"
    StrCpy $1 "${FILE}"
    !insertmacro Regsvr32 "${PROGRAM}" "/s" "$1"
  ${EndIf}
!macroend

; Stops at the first component that cannot be registered: its path is then in $1, and $result is not 0.
!macro RegisterComponents FOLDER
  StrCpy $result 0
  !insertmacro Register "$SYSDIR\regsvr32.exe" "${FOLDER}\${COMPONENT}"
  !insertmacro Register "$SYSDIR\regsvr32.exe" "${FOLDER}\${COMPLETE}"
  !if "${ARCHITECTURE}" == "x64"
    !insertmacro Register "${REGSVR32_X86}" "${FOLDER}\x86\${COMPONENT}"
    !insertmacro Register "${REGSVR32_X86}" "${FOLDER}\x86\${COMPLETE}"
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
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/COMPLETE" $1
  ${IfNot} ${Errors}
    !insertmacro SelectSection ${chosen}
  ${EndIf}
FunctionEnd

Function FindPrevious
  StrCpy $first "no"
  ReadRegStr $previous HKLM "${ENTRY}" "InstallLocation"
  ${If} $previous == ""
    StrCpy $first "yes"
    StrCpy $previous $INSTDIR
  ${EndIf}
  ${Do}  ; slashes at the end
    StrCpy $0 $previous 1 -1
    ${If} $0 != "\"
    ${AndIf} $0 != "/"
      ${ExitDo}
    ${EndIf}
    StrCpy $previous $previous -1
  ${Loop}
FunctionEnd

Function Undo
  !insertmacro LeaveFolders
  !insertmacro UnregisterComponents "$INSTDIR"
  !insertmacro EachFile Remove "$INSTDIR"
  Call PutBackOld
FunctionEnd

; Of two overlapping folders each puts back what the other one set aside, which comes to the same.
Function PutBackOld
  !insertmacro EachFile PutBack "$INSTDIR"
  !insertmacro EachFile PutBack "$previous"
  !insertmacro RemoveFolders "$INSTDIR"
  ${If} $first == "no"
    !insertmacro RegisterComponents "$previous"
  ${EndIf}
FunctionEnd

Section
  !insertmacro LeaveFolders
  Call FindPrevious
  StrCpy $2 $INSTDIR
  StrCpy $3 $previous
  Call RefuseWhileInUse

  ${If} $first == "no"
    !insertmacro UnregisterComponents "$previous"
  ${EndIf}
  ClearErrors
  !insertmacro EachFile SetAside "$previous"
  !insertmacro EachFile SetAside "$INSTDIR"
  ${If} ${Errors}
    Call PutBackOld
    !insertmacro Stop ${NOT_WRITTEN} "A file in $INSTDIR, or of the installed version, cannot be replaced. Nothing has been changed."
  ${EndIf}

  SetOverwrite try
  ClearErrors
  SetOutPath "$INSTDIR"
  File "${STAGING}/${ARCHITECTURE}/${COMPONENT}"
  ${If} ${SectionIsSelected} ${chosen}
    File "${STAGING}/${ARCHITECTURE}/${COMPLETE}"
  ${EndIf}
  File "${STAGING}/${ARCHITECTURE}/${TOOL}"
  File "${STAGING}/${TEXT}"
  WriteUninstaller "$INSTDIR\${UNINSTALLER}"
  !if "${ARCHITECTURE}" == "x64"
    ${If} ${FileExists} "${REGSVR32_X86}"
      SetOutPath "$INSTDIR\x86"
      File "${STAGING}/x86/${COMPONENT}"
      ${If} ${SectionIsSelected} ${chosen}
        File "${STAGING}/x86/${COMPLETE}"
      ${EndIf}
      File "${STAGING}/x86/${TOOL}"
    ${Else}
      DetailPrint "This Windows runs no programs of 32 bits: the x86 component is left out."
    ${EndIf}
  !endif
  ${If} ${Errors}
    Call Undo
    !insertmacro Stop ${NOT_WRITTEN} "The files cannot be written to $INSTDIR. Nothing has been changed."
  ${EndIf}

  !insertmacro LeaveFolders
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
  !insertmacro EachFile RemoveOld "$previous"
  !insertmacro RemoveFolders "$previous"  ; which are not empty where the new files are
  SetErrorLevel 0
SectionEnd

; ---- Removing.

Function un.onInit
  Call un.RefuseOthers
FunctionEnd

Section Uninstall
  !insertmacro LeaveFolders
  StrCpy $2 $INSTDIR
  StrCpy $3 $INSTDIR
  Call un.RefuseWhileInUse
  !insertmacro UnregisterComponents "$INSTDIR"
  !insertmacro EachFile Remove "$INSTDIR"
  !insertmacro EachFile RemoveOld "$INSTDIR"
  !insertmacro RemoveFolders "$INSTDIR"
  DeleteRegKey HKLM "${ENTRY}"
  SetErrorLevel 0
  ${If} $failed != ""
    SetErrorLevel ${NOT_UNREGISTERED}
    MessageBox MB_OK|MB_ICONEXCLAMATION "The files of ${NAME} have been removed, but this could not be unregistered:$\r$\n$\r$\n\
$failed$\r$\nThe system may go on offering it to programs. To mend this, install ${NAME} again and then remove it." /SD IDOK
  ${EndIf}
SectionEnd
