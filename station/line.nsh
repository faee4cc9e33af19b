@echo -off
# The whole line run of one machine; its last line begins with SUMMARY and ends
# in PASS, FAIL or ERROR. `line help` tells the words.
start.efi %1 %2 %3 %4 %5 %6 %7 %8 %9
