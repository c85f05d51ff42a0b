@echo off
rem Takes the fingerprint logon out of this Windows, or of one that does not start: its COM class and its entry in the
rem list of credential providers. Files, settings and other providers stay. Plain cmd, for the recovery console too.
setlocal EnableExtensions
set CLASS={0CE326A8-C767-433F-82B9-601B2A27321E}
set SOFTWARE=HKLM\SOFTWARE
set OFFLINE=
set FAILED=0

if "%~1"=="" goto take_out
if "%~1"=="/?" goto usage
if "%~1"=="-h" goto usage
if "%~1"=="--help" goto usage
if not "%~2"=="" goto bad_usage

set OFFLINE=%~1\System32\config\SOFTWARE
if not exist "%OFFLINE%" (
    echo rescue: there is no "%OFFLINE%". Give the Windows folder of the other system, such as D:\Windows. 1>&2
    exit /b 2
)
set SOFTWARE=HKLM\VexaFPRescue
reg load %SOFTWARE% "%OFFLINE%"
if errorlevel 1 (
    echo rescue: "%OFFLINE%" could not be loaded. Is this cmd run as administrator? 1>&2
    exit /b 1
)

:take_out
rem The list entry goes first: LogonUI is never pointed at a class that is half gone.
call :remove "%SOFTWARE%\Microsoft\Windows\CurrentVersion\Authentication\Credential Providers\%CLASS%" "list entry"
call :remove "%SOFTWARE%\Classes\CLSID\%CLASS%" "COM class"
if not defined OFFLINE goto done
reg unload %SOFTWARE%
if errorlevel 1 (
    echo rescue: %SOFTWARE% could not be unloaded. Close what looks into it, then: reg unload %SOFTWARE% 1>&2
    set FAILED=1
)
:done
if %FAILED%==0 echo Done. The fingerprint tile is gone; the other ways to log on are untouched.
exit /b %FAILED%

:remove
reg query %1 /reg:64 >nul 2>&1
if errorlevel 1 (
    echo The %~2 is not there.
    exit /b 0
)
reg delete %1 /f /reg:64 >nul 2>&1
reg query %1 /reg:64 >nul 2>&1
if errorlevel 1 (
    echo The %~2 is removed.
    exit /b 0
)
echo rescue: the %~2 could not be removed. Run this as administrator. 1>&2
set FAILED=1
exit /b 1

:bad_usage
call :usage 1>&2
exit /b 2

:usage
echo Usage: rescue              takes the fingerprint logon out of the running Windows
echo        rescue D:\Windows   takes it out of the Windows in that folder, which is not running
echo.
echo Run it as administrator. It may be run again without harm; a repair or a new installation of the package puts back
echo what it removes. Exit status: 0 done, or nothing was there; 1 not done; 2 bad usage.
exit /b 0
