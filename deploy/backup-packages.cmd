@echo off
rem Copies the packages that a run of Saltrove would remove now, and puts them back.
rem
rem   backup-packages save FOLDER PRODUCTCODE PRODUCTVERSION
rem   backup-packages restore FOLDER
rem
rem FOLDER is made by save, and must not be there yet; nobody but administrators may be able to write
rem to it. saltrove-collect.exe lies beside this file, which is run as administrator. No file is ever
rem overwritten: restore leaves a package that is there.
rem
rem Exit status: 0 if every package is now where it should be, 1 if one is not or nothing could be
rem begun, 64 for a wrong command line. What failed has a line on the error output.
setlocal EnableExtensions DisableDelayedExpansion
set "folder=%~f2"
set "list=%folder%\packages.txt"
set "failed="
if /i "%~1"=="save" if not "%~4"=="" if "%~5"=="" goto save
if /i "%~1"=="restore" if not "%~2"=="" if "%~3"=="" goto restore
>&2 echo usage: backup-packages save FOLDER PRODUCTCODE PRODUCTVERSION
>&2 echo        backup-packages restore FOLDER
exit /b 64

:save
if exist "%folder%" goto nothing
mkdir "%folder%"
if not exist "%folder%" goto nothing
"%~dp0saltrove-collect.exe" --removals "%~3" "%~4" >"%list%"
rem A program that crashes ends with a number below 0, which "if errorlevel 1" would not see.
if not "%errorlevel%"=="0" goto undo
for /f "usebackq eol=| delims=" %%P in ("%list%") do (
    set "bad="
    rem Two packages of one name would come from two folders.
    if exist "%folder%\%%~nxP" set "bad=1"
    if not exist "%folder%\%%~nxP" copy /b "%%P" "%folder%\%%~nxP" >nul
    if not exist "%folder%\%%~nxP" set "bad=1"
    "%SystemRoot%\System32\fc.exe" /b "%%P" "%folder%\%%~nxP" >nul 2>&1
    if errorlevel 1 set "bad=1"
    if defined bad set "failed=1"
    if defined bad >&2 echo NOT SAVED: %%P
    if not defined bad echo saved: %%P
)
goto end

:restore
if not exist "%list%" goto nothing
for /f "usebackq eol=| delims=" %%P in ("%list%") do (
    set "bad="
    if not exist "%%P" copy /b "%folder%\%%~nxP" "%%P" >nul
    if not exist "%%P" set "bad=1"
    "%SystemRoot%\System32\fc.exe" /b "%folder%\%%~nxP" "%%P" >nul 2>&1
    if errorlevel 1 set "bad=1"
    if defined bad set "failed=1"
    if defined bad >&2 echo NOT AS IT WAS SAVED: %%P
    if not defined bad echo in place: %%P
)
goto end

:undo
del "%list%"
rmdir "%folder%"

:nothing
>&2 echo backup-packages: could not begin with "%folder%"
exit /b 1

:end
if defined failed exit /b 1
exit /b 0
