@echo off
rem Installs tarn @VERSION@ without the installer package, or removes it again. Run it as an administrator.
rem   install.cmd [FOLDER]   copies these files into FOLDER, by default Program Files\tarn, and registers its bin folder
rem   install.cmd /remove    removes the files that it copied and the registration
rem A policy that stands in the folder already is kept; what only an earlier version there had goes; a folder that is a link is refused. Removal leaves ProgramData\tarn, where state is kept.
setlocal
set "link="
set "source=%~dp0"
set "key=HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\App Paths\CoreScan.exe"
set "target=%ProgramFiles%\tarn"
if defined ProgramW6432 set "target=%ProgramW6432%\tarn"
if /i "%~1"=="/remove" goto remove
if "%~1"=="/?" goto usage
if "%~1"=="--help" goto usage
if not "%~2"=="" goto usage
if not "%~1"=="" set "target=%~f1"
if "%target:~-1%"=="\" set "target=%target:~0,-1%"

if not exist "%source%bin\tarn.dll" goto incomplete
rem What a link leads to is somebody else's: nothing is written, deleted or given rights through one.
call :look "%target%"
if exist "%source%SHA256SUMS" for /f "usebackq tokens=1,*" %%a in ("%source%SHA256SUMS") do call :above "%%b"
if exist "%target%\SHA256SUMS" for /f "usebackq tokens=1,*" %%a in ("%target%\SHA256SUMS") do call :above "%%b"
for %%d in (bin lib include docs examples share extension) do call :look "%target%\%%d"
call :look "%ProgramData%\tarn"
if defined link goto linked
if /i "%source%"=="%target%\" goto register
rem What the version in the folder has and this one has not: once its list is overwritten, nobody knows of it.
set "left="
if exist "%source%SHA256SUMS" if exist "%target%\SHA256SUMS" (
    for /f "usebackq tokens=1,*" %%a in ("%target%\SHA256SUMS") do call :outdated "%%b"
    for /f "usebackq tokens=1,*" %%a in ("%target%\SHA256SUMS") do call :sweep "%%b"
)
if defined left goto hindered
for %%d in (lib include docs examples share extension) do (
    xcopy "%source%%%d" "%target%\%%d" /e /i /y /q >nul
    if errorlevel 1 goto denied
)
for %%p in (dll exe) do (
    xcopy "%source%bin\*.%%p" "%target%\bin" /i /y /q >nul
    if errorlevel 1 goto denied
)
if not exist "%target%\bin\tarn-policy.toml" (
    xcopy "%source%bin\tarn-policy.toml" "%target%\bin" /i /y /q >nul
    if errorlevel 1 goto denied
)
xcopy "%source%*" "%target%" /i /y /q >nul
if errorlevel 1 goto denied

:register
rem The library wants the last backslash.
reg add "%key%" /v Path /t REG_SZ /d "%target%\bin\\" /f >nul
if errorlevel 1 goto denied
rem Whoever made the folder before does not keep it: the system and administrators write, the users of the machine read.
if not exist "%ProgramData%\tarn" mkdir "%ProgramData%\tarn"
icacls "%ProgramData%\tarn" /setowner *S-1-5-32-544 /t /l >nul
if errorlevel 1 goto denied
icacls "%ProgramData%\tarn" /reset /t /l >nul
if errorlevel 1 goto denied
icacls "%ProgramData%\tarn" /inheritance:r /grant:r "*S-1-5-18:(OI)(CI)F" "*S-1-5-32-544:(OI)(CI)F" "*S-1-5-32-545:(OI)(CI)RX" >nul
if errorlevel 1 goto denied
rem Until now somebody else may have had the right to put a link in its place.
call :look "%ProgramData%\tarn"
if defined link goto linked
echo tarn @VERSION@ is installed in "%target%"
exit /b 0

:remove
for /f "tokens=2,*" %%a in ('reg query "%key%" /v Path 2^>nul') do if "%%a"=="REG_SZ" set "registered=%%b"
if defined registered if not "%registered:~-1%"=="\" set "registered=%registered%\"
if defined registered set "target=%registered:~0,-5%"
for %%f in ("%target%") do set "target=%%~ff"
if not exist "%target%\SHA256SUMS" goto absent
call :look "%target%"
for /f "usebackq tokens=1,*" %%a in ("%target%\SHA256SUMS") do call :above "%%b"
if defined link goto linked
set "left="
for /f "usebackq tokens=1,*" %%a in ("%target%\SHA256SUMS") do call :delete "%%b"
rem With the list and the registration in place, removal can be tried again.
if defined left goto in_use
for /f "usebackq tokens=1,*" %%a in ("%target%\SHA256SUMS") do call :sweep "%%b"
reg delete "%key%" /f >nul
if errorlevel 1 goto denied
echo tarn is removed from "%target%"
rem In one line, since this file may be the last one to go.
del /f /q "%target%\SHA256SUMS" "%target%\install.cmd" & rmdir "%target%" 2>nul & exit /b 0

rem Sets link to a folder that is a link or a junction: "l" stands among its attributes.
:look
set "attributes="
for %%f in ("%~1") do set "attributes=%%~af"
if not defined attributes exit /b 0
if not "%attributes:l=%"=="%attributes%" set "link=%~1"
exit /b 0

rem Looks at the folders between a file of the list and the target. Here and below, a name that leads out is none of tarn's.
:above
set "folder=%~1"
if not "%folder:..=%"=="%folder%" exit /b 0
for %%f in ("%target%\%folder:/=\%") do set "folder=%%~dpf"
if "%folder%"=="%looked%" exit /b 0
set "looked=%folder%"
:higher
if defined link exit /b 0
if /i "%folder%"=="%target%\" exit /b 0
set "folder=%folder:~0,-1%"
call :look "%folder%"
for %%f in ("%folder%") do set "folder=%%~dpf"
goto higher

rem Deletes a file that this version does not have; the policy is the user's.
:outdated
set "file=%~1"
if /i "%file%"=="bin/tarn-policy.toml" exit /b 0
if exist "%source%%file:/=\%" exit /b 0

rem The list has slashes.
:delete
set "file=%~1"
if not "%file:..=%"=="%file%" exit /b 0
set "file=%target%\%file:/=\%"
if /i "%file%"=="%target%\install.cmd" exit /b 0
if exist "%file%" del /f /q "%file%" 2>nul
if not exist "%file%" exit /b 0
set "left=1"
echo "%file%" cannot be deleted.
exit /b 0

rem Removes the folders between a file of the list and the target that are empty, from the innermost outwards.
:sweep
set "folder=%~1"
if not "%folder:..=%"=="%folder%" exit /b 0
for %%f in ("%target%\%folder:/=\%") do set "folder=%%~dpf"
:outwards
if /i "%folder%"=="%target%\" exit /b 0
set "folder=%folder:~0,-1%"
if exist "%folder%" rmdir "%folder%" 2>nul
if exist "%folder%" exit /b 0
for %%f in ("%folder%") do set "folder=%%~dpf"
goto outwards

:in_use
echo Not all of tarn is removed. End every host that uses it, then run install.cmd /remove again as an administrator.
exit /b 1

:hindered
echo Not done: files of the version in "%target%" are in use; others that only it had may be deleted already.
echo End every host that uses it, then run this again as an administrator.
exit /b 1

:linked
echo Not done: "%link%" is a link to another folder, and nothing is written or deleted through one.
echo See where it leads (dir /al) and who made it, take it away (rmdir "%link%" leaves what it leads to) and run this again.
exit /b 1

:incomplete
echo "%source%bin\tarn.dll" is missing: unpack the whole archive and run this again.
exit /b 1

:absent
echo There is no tarn in "%target%".
exit /b 1

:denied
echo Not done: Windows refused a file or the registry. Run this as an administrator, with no host running.
exit /b 1

:usage
echo install.cmd [FOLDER]   copies these files into FOLDER, by default "%target%", and registers them
echo install.cmd /remove    removes them again; the state in "%ProgramData%\tarn" stays
exit /b 2
