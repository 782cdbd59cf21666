@echo off
rem Runs Saltrove with the version of the product that is installed now, which a task that named a
rem version would not follow.
rem
rem   clean PRODUCTCODE [simulate]
rem
rem The version is DisplayVersion of the product's entry among the installed programs, of 64 bits or of
rem 32. Saltrove.exe and saltrove-collect.exe lie beside this file, which is run as LocalSystem or as
rem administrator. A code that Saltrove would take for another, as one in small letters, is refused.
rem
rem Exit status: that of Saltrove.exe; 2 if the product is not installed, 3 if saltrove-collect.exe cannot
rem be run, 64 for a wrong command line.
setlocal EnableExtensions DisableDelayedExpansion
if "%~1"=="" goto usage
if not "%~3"=="" goto usage
if "%~2"=="" goto clean
if /i not "%~2"=="simulate" goto usage

:clean
"%~dp0saltrove-collect.exe" --status "%~1" >nul 2>&1
set "asked=%errorlevel%"
if "%asked%"=="64" goto unknown
if not "%asked%"=="0" if not "%asked%"=="1" goto unasked
rem Programs by their whole paths: whoever can write to the current folder could have put others there.
set "key=HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\%~1"
set "version="
for %%V in (64 32) do if not defined version for /f "tokens=2*" %%A in ('%SystemRoot%\System32\reg.exe query "%key%" /v DisplayVersion /reg:%%V 2^>nul ^| %SystemRoot%\System32\find.exe "REG_SZ"') do set "version=%%B"
if not defined version goto absent
"%~dp0Saltrove.exe" "%~1" "%version%" %~2
exit /b %errorlevel%

:absent
>&2 echo clean: "%~1" is not among the installed programs
exit /b 2

:unknown
>&2 echo clean: "%~1" is not a product code of the family, in braces and capitals
exit /b 64

:unasked
>&2 echo clean: "%~dp0saltrove-collect.exe" ended with %asked%, so the product code is not known to be right
exit /b 3

:usage
>&2 echo usage: clean PRODUCTCODE [simulate]
exit /b 64
