; The installer: for one user, without administrator's rights. The program keeps its settings beside itself, so its folder
; must be one that this user may write to. /S installs and removes without questions, /D=FOLDER (last) chooses the folder.
Target amd64-unicode
SetCompressor /SOLID lzma
RequestExecutionLevel user

!define NAME "LumoPlayTool"
!define UNINSTALL "Software\Microsoft\Windows\CurrentVersion\Uninstall\${NAME}"
!define AT_LOGON "Software\Microsoft\Windows\CurrentVersion\Run"

Name "${NAME}"
OutFile "${OUT}"
InstallDir "$LOCALAPPDATA\Programs\${NAME}"
InstallDirRegKey HKCU "Software\${NAME}" "Folder"

Page directory
Page instfiles
UninstPage uninstConfirm
UninstPage instfiles

; Running programs hold their files open. The host goes first: it would start another for a page that comes back.
!macro EndPrograms PREFIX
  nsExec::Exec 'taskkill /F /IM lumo-host.exe'
  Pop $0
  nsExec::Exec 'taskkill /F /IM LumoPlayTool.exe'
  Pop $0
  nsExec::Exec 'taskkill /F /IM Browse.exe'
  Pop $0
  StrCpy $Tries 0
  !define CALL_PREFIX "${PREFIX}"
  !include "${LISTS}/check.nsh"
  !undef CALL_PREFIX
!macroend

; The program's log is in the folder log at the root of the drive that the host was started on: that of its own folder, or, at
; log-on, the system's. Other programs may have files there.
!macro RemoveLogs DRIVE
  Delete "${DRIVE}\log\log_*_??????????????.log"
  RMDir "${DRIVE}\log"
!macroend

; A program that was ended holds its files for a moment longer. Takes a path; nothing has been written or deleted yet when
; one is still held after 30 seconds for all of them, and nothing will be.
!macro WaitForFile PREFIX
Function ${PREFIX}WaitForFile
  Exch $0
  Push $1
again:
  IfFileExists "$0" 0 done
  ClearErrors
  FileOpen $1 "$0" a
  IfErrors held
  FileClose $1
  Goto done
held:
  IntOp $Tries $Tries + 1
  IntCmp $Tries 300 giveUp 0 giveUp
  Sleep 100
  Goto again
giveUp:
  MessageBox MB_OK|MB_ICONSTOP "Another program uses $0. Please end it and try again; nothing was changed." /SD IDOK
  Abort "Another program uses $0."
done:
  Pop $1
  Pop $0
FunctionEnd
!macroend
Var Tries ; of all files together, ten a second
!insertmacro WaitForFile ""
!insertmacro WaitForFile "un."

Section "install"
  !insertmacro EndPrograms ""
  !include "${LISTS}/install.nsh"
  SetOutPath "$INSTDIR"
  WriteUninstaller "$INSTDIR\uninstall.exe"

  CreateDirectory "$SMPROGRAMS\${NAME}"
  ; What the user sees is the page. The host has no window: its own entry is for when it was ended.
  WriteINIStr "$SMPROGRAMS\${NAME}\${NAME}.url" "InternetShortcut" "URL" "http://127.0.0.1:9002/"
  WriteINIStr "$SMPROGRAMS\${NAME}\${NAME}.url" "InternetShortcut" "IconFile" "$INSTDIR\LumoPlayTool.exe"
  WriteINIStr "$SMPROGRAMS\${NAME}\${NAME}.url" "InternetShortcut" "IconIndex" "0"
  CreateShortcut "$SMPROGRAMS\${NAME}\Start ${NAME}.lnk" "$INSTDIR\lumo-host.exe" '--page "$INSTDIR\page"'
  CreateShortcut "$SMPROGRAMS\${NAME}\Remove ${NAME}.lnk" "$INSTDIR\uninstall.exe"

  WriteRegStr HKCU "Software\${NAME}" "Folder" "$INSTDIR"
  WriteRegStr HKCU "${AT_LOGON}" "${NAME}" '"$INSTDIR\lumo-host.exe" --page "$INSTDIR\page"'
  WriteRegStr HKCU "${UNINSTALL}" "DisplayName" "${NAME}"
  WriteRegStr HKCU "${UNINSTALL}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKCU "${UNINSTALL}" "DisplayIcon" "$INSTDIR\LumoPlayTool.exe"
  WriteRegStr HKCU "${UNINSTALL}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKCU "${UNINSTALL}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKCU "${UNINSTALL}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKCU "${UNINSTALL}" "NoModify" 1
  WriteRegDWORD HKCU "${UNINSTALL}" "NoRepair" 1

  ; The page is there at once, and again after an update, not only after the next log-on.
  Exec '"$INSTDIR\lumo-host.exe" --page "$INSTDIR\page"'
SectionEnd

; Recordings and pictures under Device stay: they are the user's. The folder goes when nothing of his is in it.
Section "uninstall"
  !insertmacro EndPrograms "un."
  !include "${LISTS}/remove.nsh"
  ; What the program writes beside itself.
  Delete "$INSTDIR\ClientCfg.ini"
  Delete "$INSTDIR\ClientCfg.ini.lock"
  Delete "$INSTDIR\NewVersion.ini"
  Delete "$INSTDIR\customAlarmVoice.pcm"
  Delete "$INSTDIR\Cfg\capture.bmp"
  RMDir "$INSTDIR\Cfg"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR\Device\Capture"
  RMDir "$INSTDIR\Device\Record"
  RMDir "$INSTDIR\Device\Download"
  RMDir "$INSTDIR\Device"
  RMDir "$INSTDIR"
  StrCpy $0 $INSTDIR 2
  !insertmacro RemoveLogs $0
  StrCpy $0 $WINDIR 2
  !insertmacro RemoveLogs $0

  Delete "$SMPROGRAMS\${NAME}\${NAME}.url"
  Delete "$SMPROGRAMS\${NAME}\Start ${NAME}.lnk"
  Delete "$SMPROGRAMS\${NAME}\Remove ${NAME}.lnk"
  RMDir "$SMPROGRAMS\${NAME}"
  RMDir /r "$LOCALAPPDATA\lumo-host\logs"
  RMDir "$LOCALAPPDATA\lumo-host"
  DeleteRegKey HKCU "${UNINSTALL}"
  DeleteRegKey HKCU "Software\${NAME}"
  DeleteRegValue HKCU "${AT_LOGON}" "${NAME}"
SectionEnd
