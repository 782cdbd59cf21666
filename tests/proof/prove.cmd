@echo off
rem Tries Saltrove on this Windows: every call that it uses against what it expects of the call, and
rem whole runs on machines that are laid over this one, against saltrove-replay.
rem
rem   prove --throw-away            all of it, into proof.txt beside this file
rem   prove --throw-away lay NAME   lays the machine in images\NAME, for a second look
rem   prove --throw-away undo NAME  takes it away again
rem
rem It writes to the registry, to C:\Windows\Installer and to other places of drive C:, and a fault in
rem what it tries may do worse: it is for a machine that may be thrown away, which --throw-away says.
rem It is run as administrator.
rem
rem Exit status: 0 if all agrees, 1 if something does not or could not be tried, 64 for a wrong command
rem line, 65 on a machine that it must not be run on.
setlocal EnableExtensions DisableDelayedExpansion
set "kit=%~dp0"
set "bin=%kit%bin"
set "report=%kit%proof.txt"
set "work=%kit%saltrove-proof-work"
set "manager=HKLM\SYSTEM\CurrentControlSet\Control\Session Manager"
set "products=HKLM\SOFTWARE\Kelvane"
set "policies=HKLM\SOFTWARE\Policies\Kelvane"
set "usersproducts=HKCU\SOFTWARE\Kelvane"
if /i not "%~1"=="--throw-away" goto usage
if "%~2"=="" goto ready
if "%~3"=="" goto usage
if not "%~4"=="" goto usage
if not exist "%kit%images\%~3\registry.reg" goto unknown
if /i "%~2"=="undo" if not exist "%work%\%~3\undo.reg" goto notthere
if /i "%~2"=="undo" goto undo
if /i not "%~2"=="lay" goto usage

:ready
reg add HKLM\SOFTWARE\SaltroveProof /f >nul 2>&1
if errorlevel 1 goto notelevated
reg delete HKLM\SOFTWARE\SaltroveProof /f >nul 2>&1
if /i not "%SystemRoot%"=="C:\Windows" goto elsewhere
if exist C:\Windows\Installer\*.msp goto packages
reg query "%products%" >nul 2>&1
if not errorlevel 1 goto installed
reg query "%policies%" >nul 2>&1
if not errorlevel 1 goto installed
reg query "%usersproducts%" >nul 2>&1
if not errorlevel 1 goto installed
if /i "%~2"=="lay" goto lay

if exist "%work%" rmdir /s /q "%work%"
mkdir "%work%"
if not exist "%work%" goto notelevated
set failed=0
set tried=0
>"%report%" echo Saltrove on a real Windows
ver >>"%report%"
for %%V in (ProductName DisplayVersion CurrentBuild UBR EditionID) do (
    reg query "HKLM\SOFTWARE\Microsoft\Windows NT\CurrentVersion" /v %%V 2>nul | find "%%V" >>"%report%"
)
>>"%report%" echo %DATE% %TIME%
for %%P in ("%bin%\*.exe") do call :hash "%%~P"

dir /b /ad "%kit%images" >"%work%\machines.txt"
call :say "== contracts"
rem The contracts read packages of the images.
set "SALTROVE_IMAGES=%kit%images"
mkdir "%work%\contracts"
call :list before
rem Any machine's undo.reg has the restart deletions as they are now.
for /f "usebackq delims=" %%I in ("%work%\machines.txt") do if not exist "%work%\contracts\undo.reg" "%bin%\proof.exe" prepare "%kit%images\%%I" "%work%\contracts"
rem A program that crashes ends with a number below 0, which "if errorlevel 1" would not see.
"%bin%\windows_contract_tests.exe" --gtest_print_time=0 >"%work%\contracts.txt" 2>&1
if not "%errorlevel%"=="0" set failed=1
rem What they started may still hold their output for a moment.
ping -n 3 127.0.0.1 >nul
type "%work%\contracts.txt" >>"%report%"
if %failed%==1 call :say "the contracts are broken"
call :list after
for /f "usebackq delims=" %%K in ("%work%\contracts\after.txt") do (
    find "%%K" "%work%\contracts\before.txt" >nul
    if errorlevel 1 reg delete "%%K" /f >nul
)
reg import "%work%\contracts\undo.reg" >nul 2>&1
if not "%errorlevel%"=="0" set failed=1
if exist "C:\Saltrove Contract" rmdir /s /q "C:\Saltrove Contract"
reg delete "HKLM\SOFTWARE\Saltrove Contract" /f >nul 2>&1

call :say "== machines"
for /f "usebackq delims=" %%I in ("%work%\machines.txt") do call :prove "%%I"

>>"%report%" echo == result
if %tried%==0 set failed=1
if %failed%==0 call :say "all agrees: the contracts, and %tried% machines"
if not %failed%==0 call :say "NOT ALL AGREES: see proof.txt"
exit /b %failed%

rem Says something on the screen and in the report.
:say
echo %~1
>>"%report%" echo %~1
exit /b 0

rem The products and patches that Windows Installer knows, as keys.
:list
for %%C in (SOFTWARE\Classes\Installer SOFTWARE\Microsoft\Windows\CurrentVersion\Installer\UserData\S-1-5-18) do (
    reg query HKLM\%%C\Products 2>nul | find "\Products\" >>"%work%\contracts\%~1.txt"
    reg query HKLM\%%C\Patches 2>nul | find "\Patches\" >>"%work%\contracts\%~1.txt"
)
exit /b 0

rem The checksum of a program, where Windows can make one.
:hash
>>"%report%" echo %~nx1
certutil -hashfile "%~1" SHA256 2>nul | find /v ":" >>"%report%"
exit /b 0

:prove
set "image=%kit%images\%~1"
set "place=%work%\%~1"
set /a tried+=1
call :place
if errorlevel 1 goto stuck
set "step=saltrove-collect before the run"
call :collect before
if errorlevel 2 goto stuck
set "step=the files in use"
"%bin%\proof.exe" mark "%image%" "%place%\before"
if not "%errorlevel%"=="0" goto stuck
set "step=saltrove-replay"
"%bin%\saltrove-replay.exe" "%place%\before" --out "%place%\expected" >"%place%\replay.txt" 2>&1
set "expected=%errorlevel%"
if %expected% geq 64 goto stuck
if %expected% lss 0 goto stuck
"%bin%\proof.exe" run "%image%" "%bin%\Saltrove.exe"
set "status=%errorlevel%"
set "step=saltrove-collect behind the run"
call :collect after
if errorlevel 2 goto stuck
"%bin%\proof.exe" compare "%image%" "%place%\before" "%place%\expected" "%place%\after" %expected% %status% >"%place%\differences.txt" 2>&1
if not "%errorlevel%"=="0" goto differs
call :say "%~1: agrees"
goto take_away

:differs
set failed=1
call :say "%~1: DISAGREES"
type "%place%\differences.txt" >>"%report%"
type "%place%\differences.txt"
goto take_away

:stuck
set failed=1
call :say "%~1: DISAGREES, since this could not be done: %step%"
for %%F in (collect replay) do if exist "%place%\%%F.txt" type "%place%\%%F.txt" >>"%report%"

:take_away
"%bin%\proof.exe" clean "%image%"
if not "%errorlevel%"=="0" set failed=1
reg import "%place%\undo.reg" >nul 2>&1
if not "%errorlevel%"=="0" set failed=1
for %%K in ("%products%" "%policies%" "%usersproducts%") do reg delete %%K /f >nul 2>&1
rem What is not laid any more must not be taken away a second time.
if exist "%place%\undo.reg" del "%place%\undo.reg"
exit /b 0

rem Lays the machine in "image": 1 if that cannot be done. What takes it away is in "place".
:place
set "step=the registry of the image"
mkdir "%place%" 2>nul
"%bin%\proof.exe" prepare "%image%" "%place%"
if not "%errorlevel%"=="0" exit /b 1
reg import "%place%\machine.reg" >nul 2>&1
if errorlevel 1 exit /b 1
set "step=the files of the image"
if exist "%image%\C" xcopy "%image%\C" C:\ /e /i /q /h /y >nul
if errorlevel 1 exit /b 1
exit /b 0

rem Collects this machine into a folder of "place". An image has the values that are known; here every
rem value of the product counts, and the marker, which is in the hive of whoever runs this.
:collect
"%bin%\proof.exe" run "%image%" "%bin%\saltrove-collect.exe" "%place%\%~1" -- >"%place%\collect.txt" 2>&1
set "collected=%errorlevel%"
if not "%collected%"=="0" if not "%collected%"=="1" exit /b 2
reg export "%products%" "%place%\%~1\products.reg" /y >nul 2>&1
reg export "%usersproducts%" "%place%\%~1\user.reg" /y >nul 2>&1
exit /b 0

:lay
set "image=%kit%images\%~3"
set "place=%work%\%~3"
call :place
if errorlevel 1 goto notlaid
echo laid: %~3; Saltrove runs with these arguments:
type "%image%\args.txt"
exit /b 0

:undo
set "image=%kit%images\%~3"
set "place=%work%\%~3"
set failed=0
call :take_away
exit /b %failed%

:notlaid
>&2 echo prove: could not be laid: %step%
exit /b 1

:usage
>&2 echo usage: prove --throw-away            tries Saltrove on this Windows, into proof.txt
>&2 echo        prove --throw-away lay NAME   lays the machine in images\NAME, for a second look
>&2 echo        prove --throw-away undo NAME  takes it away again
>&2 echo It changes the registry and drive C:, and is for a machine that may be thrown away.
exit /b 64

:unknown
>&2 echo prove: there is no machine "images\%~3"
exit /b 64

:notthere
>&2 echo prove: "%~3" has not been laid
exit /b 65

:notelevated
>&2 echo prove: not run as administrator, or nothing can be written to "%kit%"
exit /b 65

:elsewhere
>&2 echo prove: Windows lies in "%SystemRoot%", and not in C:\Windows as the machines have it
exit /b 65

:packages
>&2 echo prove: there are packages in C:\Windows\Installer; it has to be a machine without any
exit /b 65

:installed
>&2 echo prove: the product or a policy for it is on this machine; it has to be one without
exit /b 65
