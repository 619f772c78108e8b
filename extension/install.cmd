@echo off
rem Tells the browsers of this account on Windows which program answers the extension, or takes that back.
rem   install.cmd [install [PROGRAM [POLICY]]]
rem     PROGRAM: tarnhost.exe; by default, or "", the one of this package
rem     POLICY: the policy file, instead of the one beside the program
rem   install.cmd remove
setlocal disabledelayedexpansion
set "failed="
set "name=tarn.messaging"
set "origin=chrome-extension://kcejamnmjkkjeefgdkbjniolkgkmbmen/"
set "folder=%LOCALAPPDATA%\tarn"
if /i "%~1"=="remove" goto remove
if "%~1"=="" goto find
if /i not "%~1"=="install" goto usage
:find
set "program=%~f2"
if not "%~2"=="" goto found
set "program=%~dp0..\bin\tarnhost.exe"
if exist "%program%" goto found
set "program=%~dp0..\build\windows\bin\tarnhost.exe"
:found
if not exist "%program%" goto missing
set "policy=%~f3"
if "%~3"=="" set "policy="
if not "%~3"=="" if not exist "%policy%" goto nopolicy
if not exist "%folder%" mkdir "%folder%"
rem What is read from a file may hold any character of a folder's name, percent signs, too.
setlocal enabledelayedexpansion
set command="!program!" messaging
if defined policy set command=!command! --policy "!policy!"
>"!folder!\tarn-messaging.txt" echo !command!
endlocal
>"%folder%\tarn-messaging.cmd" echo @echo off
>>"%folder%\tarn-messaging.cmd" echo setlocal disabledelayedexpansion
>>"%folder%\tarn-messaging.cmd" echo set /p command=^<"%%~dp0tarn-messaging.txt"
>>"%folder%\tarn-messaging.cmd" echo %%command%% %%*
>"%folder%\%name%.json" echo {"name": "%name%", "description": "Judges the pages that the tarn extension asks about",
>>"%folder%\%name%.json" echo "path": "tarn-messaging.cmd", "type": "stdio", "allowed_origins": ["%origin%"]}
for %%b in (Google\Chrome Chromium Microsoft\Edge BraveSoftware\Brave-Browser) do call :add "%%b"
if defined failed goto failed
echo Now load the folder %~dp0 as an extension: chrome://extensions, developer mode, "Load unpacked".
exit /b 0
:add
reg add "HKCU\Software\%~1\NativeMessagingHosts\%name%" /ve /t REG_SZ /d "%folder%\%name%.json" /f >nul
if errorlevel 1 set "failed=1"
exit /b 0
:remove
for %%b in (Google\Chrome Chromium Microsoft\Edge BraveSoftware\Brave-Browser) do call :drop "%%b"
for %%f in (tarn-messaging.cmd tarn-messaging.txt) do if exist "%folder%\%%f" del "%folder%\%%f"
if exist "%folder%\%name%.json" del "%folder%\%name%.json"
rmdir "%folder%" 2>nul
echo The browsers of this account know no program for the extension any more.
exit /b 0
:drop
reg delete "HKCU\Software\%~1\NativeMessagingHosts\%name%" /f >nul 2>nul
exit /b 0
:missing
echo install.cmd: %program% is not there; name it: install.cmd install C:\path\to\tarnhost.exe>&2
exit /b 1
:nopolicy
echo install.cmd: %policy% is not there>&2
exit /b 1
:usage
echo install.cmd: "%~1" is not known; say install or remove>&2
exit /b 2
:failed
echo install.cmd: the registry of this account cannot be written>&2
exit /b 1
