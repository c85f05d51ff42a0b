@echo off
rem Verifies the fingerprint logon on this Windows: every test program, then logon screens one after another. Start it
rem with its folder, as in .\verify.cmd: cmd has a command VERIFY of its own.
setlocal EnableExtensions
cd /d "%~dp0"
set CLASS={0CE326A8-C767-433F-82B9-601B2A27321E}
set CLASS_KEY=HKLM\SOFTWARE\Classes\CLSID\%CLASS%
set LIST_KEY=HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\Credential Providers\%CLASS%
set PRODUCT_KEY=HKLM\SOFTWARE\VEXA
set PRE_BOOT_KEY=HKLM\SOFTWARE\Fingerprint Simulator
set LIBRARY=%SystemRoot%\System32\vcsWavePba.dll
set SETTINGS=C:\Users\Public\VEXA
set REPORT=verify.txt
set USER=FRONTDESK\Anna
set SCREEN=LogonScreen --computer FRONTDESK --account %USER%:secret --time-limit 60
set /a PASSED=0
set /a FAILED=0

set ASK=1
set CLEAN=
:next_option
if "%~1"=="" goto options_done
if /i "%~1"=="/y" set ASK=& shift & goto next_option
if /i "%~1"=="/clean" set CLEAN=1& shift & goto next_option
if /i "%~1"=="/finger" goto finger_for_restarted_service
if "%~1"=="/?" goto usage
if "%~1"=="-h" goto usage
if "%~1"=="--help" goto usage
echo verify: there is no option "%~1". 1>&2
call :usage 1>&2
exit /b 2
:options_done

reg add "%PRE_BOOT_KEY%\Verify" /f >nul 2>&1
if errorlevel 1 (
    echo verify: this needs an administrator's command prompt. 1>&2
    exit /b 2
)
reg delete "%PRE_BOOT_KEY%" /f >nul 2>&1
if defined CLEAN goto put_back_and_end

call :refuse_used_machine
if errorlevel 1 exit /b 2
if not defined ASK goto start
echo This registers a credential provider, starts services and changes settings of this machine, and takes them back at
echo the end. Do it in a virtual machine with a snapshot.
set ANSWER=
set /p ANSWER=Is this a virtual machine that may be changed? (yes/no) 
if /i not "%ANSWER%"=="yes" (
    echo Nothing was done.
    exit /b 2
)

:start
>"%REPORT%" echo Verification of the fingerprint logon
>>"%REPORT%" ver
>>"%REPORT%" echo %PROCESSOR_ARCHITECTURE%, %NUMBER_OF_PROCESSORS% processors, %DATE% %TIME%
>>"%REPORT%" echo.
for /f "usebackq tokens=1,2*" %%a in ("tests.txt") do call :test %%a %%b %%c
call :logon_screens
call :put_back

>>"%REPORT%" echo.
>>"%REPORT%" echo %PASSED% passed, %FAILED% failed.
echo %PASSED% passed, %FAILED% failed. More in %REPORT%.
if not %FAILED%==0 exit /b 1
if %PASSED%==0 exit /b 1
exit /b 0

rem A machine on which any of this stands already is not ours to change, and could not be put back.
:refuse_used_machine
set USED=
reg query "%CLASS_KEY%" /reg:64 >nul 2>&1
if not errorlevel 1 set USED=the COM class %CLASS%
reg query "%LIST_KEY%" /reg:64 >nul 2>&1
if not errorlevel 1 set USED=the credential provider's list entry
reg query "%PRODUCT_KEY%" /reg:32 >nul 2>&1
if not errorlevel 1 set USED=%PRODUCT_KEY%, 32-bit view
reg query "%PRODUCT_KEY%" /reg:64 >nul 2>&1
if not errorlevel 1 set USED=%PRODUCT_KEY%, 64-bit view
sc query vcsFPService >nul 2>&1
if not errorlevel 1 set USED=the service vcsFPService
sc query VexaFPService >nul 2>&1
if not errorlevel 1 set USED=the service VexaFPService
if exist "%LIBRARY%" set USED=%LIBRARY%
if exist "%SETTINGS%\" set USED=%SETTINGS%
if exist C:\CPLog\ set USED=C:\CPLog
if exist C:\FPLog\ set USED=C:\FPLog
if not defined USED exit /b 0
echo verify: this machine is in use already: %USED%. Take a fresh one. 1>&2
echo After an interrupted run, ".\verify.cmd /clean" takes back what this made. 1>&2
exit /b 1

rem :test NAME PROGRAM ARGUMENT...
rem Its own count decides as well: under Wine a program that crashed may end with 0. It writes its file itself: a
rem redirected one can be held by what it has started. Each run has a file of its own, for the same reason.
:test
set NAME=%1
set LAST=verify-%NAME%.tmp
set VERDICT=passed
%2 %3 %4 --out=%LAST% >nul 2>&1
if errorlevel 1 set VERDICT=FAILED
find "test cases:" <"%LAST%" | find "| 0 failed" >nul
if errorlevel 1 set VERDICT=FAILED
find "test cases:" <"%LAST%" | find " 0 passed" >nul
if not errorlevel 1 set VERDICT=FAILED
call :note %NAME%
goto :eof

rem The figures of what passed, all of what failed.
:note
echo %VERDICT% %1
>>"%REPORT%" echo %VERDICT% %1
if %VERDICT%==passed goto note_figures
set /a FAILED+=1
type "%LAST%" >>"%REPORT%"
goto :eof
:note_figures
set /a PASSED+=1
find "test cases:" <"%LAST%" >>"%REPORT%"
find "answer to CredentialsChanged" <"%LAST%" >>"%REPORT%"
goto :eof

rem The whole system: registered DLL, both services under the service manager, and screens that come and go.
:logon_screens
set LAST=verify-setup.tmp
LogonScreen --register --dll "%CD%\VexaFPCredentialProvider.dll" >"%LAST%" 2>&1
call :expect 0 %ERRORLEVEL% register
LogonScreen --status >"%LAST%" 2>&1
call :expect 0 %ERRORLEVEL% registration-status
FingerprintService --install >"%LAST%" 2>&1
call :expect 0 %ERRORLEVEL% install-services
net start vcsFPService >"%LAST%" 2>&1
call :expect 0 %ERRORLEVEL% start-sensor-service
net start VexaFPService >"%LAST%" 2>&1
call :expect 0 %ERRORLEVEL% start-fingerprint-service
copy /y PreBootLibrary\vcsWavePba.dll "%LIBRARY%" >nul
call :switch 1
rem Not judged: without a sensor the doctor says so.
Doctor >>"%REPORT%" 2>&1
call :finger secret
call :screen 0 logon --sensor present --expect %USER%
call :finger secret
call :screen 0 unlock --sensor present --expect %USER% --scenario unlock
call :finger of-last-year
call :finger secret
call :screen 0 wrong-password --sensor present --expect %USER% --scenario unlock
net stop VexaFPService >nul 2>&1
call :later_finger
call :screen 0 service-down --sensor present --expect %USER%
md "%SETTINGS%\FingerPrint" 2>nul
>"%SETTINGS%\FingerPrint\config.ini" echo [Public]
>>"%SETTINGS%\FingerPrint\config.ini" echo LockEnable=1
>>"%SETTINGS%\FingerPrint\config.ini" echo LockCount=1
call :finger of-last-year
call :screen 0 lockout --sensor present --expect none --scenario unlock --until "prompt:Please manually enter"
del "%SETTINGS%\FingerPrint\config.ini"
reg add "%PRE_BOOT_KEY%\PreBoot" /v User /d Anna /f >nul
reg add "%PRE_BOOT_KEY%\PreBoot" /v Password /d secret /f >nul
reg add "%PRE_BOOT_KEY%\PreBoot" /v Domain /d FRONTDESK /f >nul
call :screen 0 pre-boot --sensor present --expect %USER%
reg delete "%PRE_BOOT_KEY%" /f >nul 2>&1
call :screen 3 no-sensor --sensor absent
call :screen 3 disabled-sensor --sensor disabled
call :switch 0
call :screen 3 switched-off --sensor present
call :switch 1
reg add "%PRE_BOOT_KEY%\PreBoot" /v Enabled /t REG_DWORD /d 0 /f >nul
FingerprintService tell pba 0 >nul
call :screen 3 no-pre-boot --sensor present
goto :eof

:switch
reg add "%PRODUCT_KEY%\FingerPrint" /v Enable /t REG_DWORD /d %1 /f /reg:32 >nul
goto :eof

:finger
FingerprintService tell place FRONTDESK Anna %1 >nul
goto :eof

rem The provider's watchdog has the stopped service started again; its script starts afresh then.
:later_finger
start "" /b cmd /c .\verify.cmd /finger
goto :eof

:finger_for_restarted_service
set /a TRIES=60
:try_finger
FingerprintService tell place FRONTDESK Anna secret >nul 2>&1
if not errorlevel 1 exit /b 0
set /a TRIES-=1
if %TRIES%==0 exit /b 1
ping -n 2 127.0.0.1 >nul
goto try_finger

rem :screen STATUS NAME OPTION...
:screen
set STATUS=%1
set NAME=%2
set LAST=verify-%NAME%.tmp
shift
shift
%SCREEN% %1 %2 %3 %4 %5 %6 %7 %8 %9 >"%LAST%" 2>&1
call :expect %STATUS% %ERRORLEVEL% screen-%NAME%
FingerprintService tell reset >nul 2>&1
goto :eof

rem :expect STATUS FOUND NAME
:expect
set VERDICT=passed
if not %1==%2 set VERDICT=FAILED
if not %1==%2 >>"%LAST%" echo Status %2 instead of %1
call :note %3
goto :eof

:put_back_and_end
call :put_back
echo What a verification makes is taken back.
exit /b 0

:put_back
FingerprintService --uninstall >nul 2>&1
LogonScreen --unregister >nul 2>&1
reg delete "%PRE_BOOT_KEY%" /f >nul 2>&1
reg delete "%PRODUCT_KEY%" /f /reg:32 >nul 2>&1
reg delete "%PRODUCT_KEY%" /f /reg:64 >nul 2>&1
del "%LIBRARY%" 2>nul
rd /s /q "%SETTINGS%" 2>nul
rd /s /q C:\CPLog 2>nul
rd /s /q C:\FPLog 2>nul
del verify-*.tmp 2>nul
goto :eof

:usage
echo Usage: .\verify.cmd [/y] [/clean]
echo.
echo Runs every test program and a number of logon screens on this machine, puts everything back and leaves
echo verify.txt. Unpack the whole zip file, and run this as administrator in a virtual machine.
echo.
echo   /y      do not ask whether this is a virtual machine
echo   /clean  only take back what an interrupted run made
echo.
echo Exit status: 0 all passed; 1 something failed; 2 nothing was run.
exit /b 0
