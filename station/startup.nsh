@echo -off
# Runs the identity tests and stops at the first that does not pass.
# The shell starts this script from the root of the drive that holds it.

for %d in fs0: fs1: fs2: fs3: fs4: fs5: fs6: fs7: fs8: fs9:
  if exist %d\mfgtest.efi then
    %d
    goto found
  endif
endfor
echo "mfgtest.efi is on none of the drives fs0: to fs9:"
goto failed

:found
load testlib.efi
for %t in 1 2 3 4 5 6 7 8 9 10 11 12 13
  mfgtest.efi %t
  if not "%MfgVerdict%" == "PASS" then
    goto failed
  endif
endfor
echo "STATION PASS"
goto done

:failed
echo "STATION FAIL"

:done
