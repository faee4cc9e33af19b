@echo -off
# SPDX-License-Identifier: BSD-2-Clause-Patent
# The whole line run of one machine: Autosense, every test of the list, the
# summary. Its last line begins with SUMMARY and ends in PASS, FAIL or ERROR.
#
#   line [stop] [write] [options and parameters of every test]...
#
#   stop     ends at the first test that does not pass; else the run goes on
#   write    also runs the tests that program something: 28, 31 and 32
#
#   line stop -d 1 -f order.cfg System_Serial_Number=env=SERIAL

set -v LineStop no
set -v LineWrite no
set -v LineWords " "
for %a in %1 %2 %3 %4 %5 %6 %7 %8 %9
  if "%a" == "stop" then
    set -v LineStop yes
  else
    if "%a" == "write" then
      set -v LineWrite yes
    else
      set -v LineWords "%LineWords% %a"
    endif
  endif
endfor

# The drivers stay until the machine restarts.
if not "%LineLoaded%" == "yes" then
  load testlib.efi
  if "%lasterror%" == "0x0" then
    set -v LineLoaded yes
  endif
  echo "A refusal of the next drivers is no failure: the tests say what they miss."
  load smbios_entry.efi
  load ipmi_kcs.efi
endif

# Test 22 is left out, it asks for a key at every structure.
set -v LineRun "1 2 3 4 5 6 7 8 9 10 11 12 13 14 20 21 23 24 25 26 27 29 30 33 34 35 36 37 38 39 40 41 42 43"
# What is written is verified by the tests behind it.
if "%LineWrite%" == "yes" then
  set -v LineRun "28 31 32 %LineRun%"
endif

for %t in 0 %LineRun%
  set -v MfgVerdict none
  mfgtest.efi %t %LineWords%
  if "%MfgVerdict%" == "" or "%MfgVerdict%" == "none" then
    echo "SUMMARY test %t did not start, or did not come to its end: ERROR"
    goto done
  endif
  if "%LineStop% %MfgVerdict%" == "yes FAIL" or "%LineStop% %MfgVerdict%" == "yes ERROR" then
    goto summary
  endif
endfor

:summary
mfgtest.efi --summary

:done
