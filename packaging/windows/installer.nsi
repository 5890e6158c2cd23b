; The installer: for the user who runs it, without an administrator.
; scripts/package_windows gives VERSION, FILES (the folder of the programs), ICON and OUTPUT.

Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
ManifestDPIAware true
RequestExecutionLevel user

!include MUI2.nsh
!include LogicLib.nsh
!include WinMessages.nsh

!define NAME "Elvantris Redundancy Control"
!define FILE "elvantris-redundancy-control.exe"
!define TOOL "elvantris-redundancy-tool.exe"
!define REHEARSAL "elvantris-rehearsal.exe"
!define LICENCES "licences.txt"
!define MAKER "Tarnwell Media"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\ElvantrisRedundancyControl"
!define RUN_KEY "Software\Microsoft\Windows\CurrentVersion\Run"
!define CHECK_ENTRY "Check Redundancy Control"
!define REHEARSAL_ENTRY "Rehearse a Failover"
!define SETTINGS "$LOCALAPPDATA\${MAKER}\Elvantris OperatorControl"

; The tray's window, its Exit item, and how long a pass on a network of dead servers may take.
!define TRAY_WINDOW "ElvantrisOperatorControlTrayWindow"
!define EXIT_ITEM 1005
!define END_LIMIT_MS 30000

; A virus scanner may hold a file for some seconds.
!define FILE_TRIES 10
!define FILE_PAUSE_MS 500

Name "${NAME}"
OutFile "${OUTPUT}"
InstallDir "$LOCALAPPDATA\Programs\${NAME}"
InstallDirRegKey HKCU "${UNINSTALL_KEY}" "InstallLocation"
BrandingText "${NAME} ${VERSION}"
ShowInstDetails show
ShowUninstDetails show

VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "${NAME}"
VIAddVersionKey "FileDescription" "${NAME} Setup"
VIAddVersionKey "CompanyName" "${MAKER}"
VIAddVersionKey "LegalCopyright" "${MAKER}"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "ProductVersion" "${VERSION}"

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_FINISHPAGE_RUN "$INSTDIR\${FILE}"
!define MUI_UNCONFIRMPAGE_TEXT_TOP "${NAME} will be removed. Your settings and logs stay in ${SETTINGS}."
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!define MUI_PAGE_CUSTOMFUNCTION_PRE skip_if_started_again
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; What is behind the name of a replaced file. A program that runs keeps its file, under that name,
; until a later setup: no two of them may be the same.
Var replaced

; Whether a copy ran. How it was started: its options and its folder, each the address of a text
; without a limit to its length, or 0 if the system does not tell.
Var was_running
Var options
Var folder

Function skip_if_started_again
    StrCmp $was_running "yes" 0 +2
    Abort
FunctionEnd

; A text of another process's start: that whose place stands OFFSET bytes behind R1 in the memory of
; the process with the handle R0. RESULT is 0 if it can't be read.
!macro read_start_text OFFSET RESULT
    StrCpy ${RESULT} 0
    IntPtrOp $R2 $R1 + ${OFFSET}
    System::Call '*(&i2, &i2, i, p) p .R3'
    System::Call 'kernel32::ReadProcessMemory(p R0, p R2, p R3, p 16, p 0) i .R4'
    System::Call '*$R3(&i2 .R5, &i2, i, p .R6)'
    IntOp $R5 $R5 & 0xFFFF
    System::Free $R3
    ${If} $R4 <> 0
        IntOp $R7 $R5 + 2 ; and its end, which is zero
        System::Call 'kernel32::GlobalAlloc(i 0x40, p R7) p .R3'
        System::Call 'kernel32::ReadProcessMemory(p R0, p R6, p R3, p R5, p 0) i .R4'
        ${If} $R4 <> 0
            StrCpy ${RESULT} $R3
        ${EndIf}
    ${EndIf}
!macroend

; Sets `options` and `folder` for the process with the number in R0. The places are those that
; every 64-bit Windows has them in: PEB.ProcessParameters, and in that CurrentDirectory and
; CommandLine.
Function ask_how_it_was_started
    StrCpy $options 0
    StrCpy $folder 0
    System::Call 'kernel32::OpenProcess(i 0x1010, i 0, i R0) p .R0' ; to query and to read
    ${If} $R0 P= 0
        Return
    ${EndIf}
    System::Call '*(p, p, p, p, p, p) p .R1'
    System::Call 'ntdll::NtQueryInformationProcess(p R0, i 0, p R1, i 48, p 0) i .R2'
    System::Call '*$R1(p, p .R3)'
    System::Free $R1
    ${If} $R2 = 0
        IntPtrOp $R3 $R3 + 0x20
        System::Call 'kernel32::ReadProcessMemory(p R0, p R3, *p .R1, p 8, p 0) i .R2'
        ${If} $R2 <> 0
            !insertmacro read_start_text 0x38 $folder
            !insertmacro read_start_text 0x70 $options
            ${If} $options P<> 0
                System::Call 'shlwapi::PathGetArgsW(p $options) p .R1'
                StrCpy $options $R1
            ${EndIf}
        ${EndIf}
    ${EndIf}
    System::Call 'kernel32::CloseHandle(p R0)'
FunctionEnd

; Starts the program as the copy that ran was started, but without a browser. That option comes
; first: behind a path that is missing it would be taken for one.
Function start_again
    ${If} $was_running != "yes"
        Return
    ${EndIf}
    StrCpy $R0 '"$INSTDIR\${FILE}" --background '
    StrLen $R1 $R0
    System::Call 'kernel32::lstrlenW(p $options) i .R2'
    IntOp $R1 $R1 + $R2
    IntOp $R1 $R1 * 2
    IntOp $R1 $R1 + 2
    System::Call 'kernel32::GlobalAlloc(i 0x40, p R1) p .R3'
    System::Call 'kernel32::lstrcpyW(p R3, w R0)'
    ${If} $options P<> 0
        System::Call 'kernel32::lstrcatW(p R3, p $options)'
    ${EndIf}
    System::Call 'kernel32::GlobalAlloc(i 0x40, p 104) p .R4' ; STARTUPINFOW
    System::Call '*$R4(i 104)'
    System::Call '*(p, p, i, i) p .R5' ; PROCESS_INFORMATION
    System::Call 'kernel32::CreateProcessW(p 0, p R3, p 0, p 0, i 0, i 0, p 0, p $folder, p R4, p R5) i .R6'
    ${If} $R6 = 0 ; its folder is gone
        System::Call 'kernel32::CreateProcessW(p 0, p R3, p 0, p 0, i 0, i 0, p 0, p 0, p R4, p R5) i .R6'
    ${EndIf}
    ${If} $R6 <> 0
        System::Call '*$R5(p .R6, p .R7)'
        System::Call 'kernel32::CloseHandle(p R6)'
        System::Call 'kernel32::CloseHandle(p R7)'
    ${EndIf}
FunctionEnd

; Asks the running copy to end, as its own menu would, and waits until it has.
!macro define_end_running_copy prefix
Function ${prefix}end_running_copy
    StrCpy $was_running "no"
    ask:
    FindWindow $0 "${TRAY_WINDOW}"
    StrCmp $0 0 done
    StrCpy $was_running "yes"
    DetailPrint "Ending the running copy"
    System::Call 'user32::GetWindowThreadProcessId(p r0, *i .r1)'
    System::Call 'kernel32::OpenProcess(i 0x00100000, i 0, i r1) p .r2' ; to wait for it
    StrCmp $2 0 0 opened
    ; It has ended in between, or it is not ours to wait for.
    FindWindow $0 "${TRAY_WINDOW}"
    StrCmp $0 0 done running
    opened:
    !if "${prefix}" == ""
        StrCpy $R0 $1
        Call ask_how_it_was_started
    !endif
    ; An open menu would hold it up.
    System::Call 'user32::PostMessage(p r0, i ${WM_CANCELMODE}, p 0, p 0)'
    System::Call 'user32::PostMessage(p r0, i ${WM_COMMAND}, p ${EXIT_ITEM}, p 0)'
    System::Call 'kernel32::WaitForSingleObject(p r2, i ${END_LIMIT_MS}) i .r3'
    System::Call 'kernel32::CloseHandle(p r2)'
    StrCmp $3 0 done
    running:
    MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION \
        "${NAME} is still running. End it from its icon beside the clock, then try again." \
        /SD IDCANCEL IDRETRY ask
    !if "${prefix}" == ""
        Call put_consoles_back
        Call delete_new_files
    !endif
    ; It ends once it answers again: what was posted to it can't be taken back.
    Abort "The running copy did not end in time. It is unchanged; start it again when it has ended."
    done:
FunctionEnd
!macroend
!insertmacro define_end_running_copy ""
!insertmacro define_end_running_copy "un."

; Puts the new file with the name in R9 in the place of the old one, which stays beside it until all
; has worked. That works for a program that runs, too. Sets the error flag if it has not worked; the
; old file is in its place again then.
Function replace_file
    StrCpy $R0 0
    again:
    ClearErrors
    IfFileExists "$INSTDIR\$R9" 0 put_new ; absent, or an earlier setup was cut short here
    Rename "$INSTDIR\$R9" "$INSTDIR\$R9$replaced"
    IfErrors failed
    put_new:
    Rename "$INSTDIR\$R9.new" "$INSTDIR\$R9"
    IfErrors 0 done
    Rename "$INSTDIR\$R9$replaced" "$INSTDIR\$R9"
    failed:
    Sleep ${FILE_PAUSE_MS}
    IntOp $R0 $R0 + 1
    IntCmp $R0 ${FILE_TRIES} 0 again
    SetErrors
    done:
FunctionEnd

; As if the file with the name in R9 had not been replaced.
Function put_file_back
    Delete "$INSTDIR\$R9"
    Rename "$INSTDIR\$R9$replaced" "$INSTDIR\$R9"
FunctionEnd

Function put_consoles_back
    StrCpy $R9 "${TOOL}"
    Call put_file_back
    StrCpy $R9 "${REHEARSAL}"
    Call put_file_back
FunctionEnd

Function delete_new_files
    Delete "$INSTDIR\${FILE}.new"
    Delete "$INSTDIR\${TOOL}.new"
    Delete "$INSTDIR\${REHEARSAL}.new"
FunctionEnd

; Those of programs that still run stay until the next setup.
!macro delete_replaced_files
    Delete "$INSTDIR\${FILE}.*.old"
    Delete "$INSTDIR\${TOOL}.*.old"
    Delete "$INSTDIR\${REHEARSAL}.*.old"
!macroend

; Nobody waits for the console programs, so that theirs come first: if one can't be replaced, the
; running copy has not been touched.
Function replace_consoles
    StrCpy $R9 "${TOOL}"
    Call replace_file
    IfErrors failed
    StrCpy $R9 "${REHEARSAL}"
    Call replace_file
    IfErrors 0 done
    StrCpy $R9 "${TOOL}"
    Call put_file_back
    StrCpy $R9 "${REHEARSAL}" ; the one to name
    failed:
    Call delete_new_files
    Abort "$R9 in $INSTDIR could not be replaced; nothing was changed."
    done:
FunctionEnd

Section
    SetOutPath "$INSTDIR"
    System::Call 'kernel32::GetTickCount() i .r0'
    StrCpy $replaced ".$0.old"
    ; Laid beside the old files, so that a full disk is found out while the program still runs.
    SetOverwrite try
    ClearErrors
    File "/oname=${FILE}.new" "${FILES}/${FILE}"
    File "/oname=${TOOL}.new" "${FILES}/${TOOL}"
    File "/oname=${REHEARSAL}.new" "${FILES}/${REHEARSAL}"
    IfErrors 0 laid
    Call delete_new_files
    Abort "The programs could not be written into $INSTDIR; nothing was changed."

    laid:
    Call replace_consoles
    Call end_running_copy
    StrCpy $R9 "${FILE}"
    Call replace_file
    IfErrors 0 all_replaced
    Call put_consoles_back
    Call delete_new_files
    Call start_again
    Abort "The old program file in $INSTDIR could not be replaced; it is in its place as before."

    all_replaced:
    ; The file that tells which servers are paired and where operation stands is the operator's:
    ; the new copy reads it and goes on where the old one stopped.
    Call start_again
    !insertmacro delete_replaced_files
    File "${FILES}/${LICENCES}"

    WriteUninstaller "$INSTDIR\uninstall.exe"
    CreateShortcut "$SMPROGRAMS\${NAME}.lnk" "$INSTDIR\${FILE}"
    ; A window that is left open must not keep the folder from being removed.
    SetOutPath "$PROFILE"
    ; cmd takes the outer quotes away; the inner ones keep a path with blanks together.
    CreateShortcut "$SMPROGRAMS\${CHECK_ENTRY}.lnk" "$SYSDIR\cmd.exe" \
        '/c ""$INSTDIR\${TOOL}" check & pause"' "$INSTDIR\${TOOL}"
    CreateShortcut "$SMPROGRAMS\${REHEARSAL_ENTRY}.lnk" "$INSTDIR\${REHEARSAL}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayName" "${NAME}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\${FILE}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "Publisher" "${MAKER}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
    WriteRegStr HKCU "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoModify" 1
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoRepair" 1
SectionEnd

; The file of a program that runs can't be deleted. Asked for the one with the name in R9 before
; anything is removed.
Function un.await_end_of_console
    ask:
    IfFileExists "$INSTDIR\$R9" 0 done
    ClearErrors
    FileOpen $0 "$INSTDIR\$R9" a
    IfErrors running
    FileClose $0
    Goto done
    running:
    MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION \
        "$R9 is still running. Close its window, then try again." /SD IDCANCEL IDRETRY ask
    Abort "$R9 is still running, or another program uses its file; nothing was removed."
    done:
FunctionEnd

Section "Uninstall"
    StrCpy $R9 "${TOOL}"
    Call un.await_end_of_console
    StrCpy $R9 "${REHEARSAL}"
    Call un.await_end_of_console
    Call un.end_running_copy
    ; First of all: whoever can't lose the program must keep the way to remove it.
    StrCpy $R0 0
    again:
    ClearErrors
    Delete "$INSTDIR\${FILE}"
    IfErrors 0 deleted
    Sleep ${FILE_PAUSE_MS}
    IntOp $R0 $R0 + 1
    IntCmp $R0 ${FILE_TRIES} 0 again
    Abort "The program file in $INSTDIR is in use by another program; nothing was removed."

    deleted:
    Delete "$INSTDIR\${TOOL}"
    Delete "$INSTDIR\${REHEARSAL}"
    !insertmacro delete_replaced_files
    Delete "$INSTDIR\${LICENCES}"
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
    Delete "$SMPROGRAMS\${NAME}.lnk"
    Delete "$SMPROGRAMS\${CHECK_ENTRY}.lnk"
    Delete "$SMPROGRAMS\${REHEARSAL_ENTRY}.lnk"
    DeleteRegValue HKCU "${RUN_KEY}" "ElvantrisOperatorControl"
    DeleteRegKey HKCU "${UNINSTALL_KEY}"
    DetailPrint "Settings and logs were left in ${SETTINGS}"
    MessageBox MB_OK|MB_ICONINFORMATION \
        "${NAME} has been removed.$\r$\n$\r$\nYour settings and logs were left in$\r$\n${SETTINGS}" \
        /SD IDOK
SectionEnd
