# The front door. Every target first installs what it needs and the machine
# lacks, then says what it does.

TEST ?= 1
PARAMS ?=
LINE ?=
SECURE ?=
GDB ?=
KEY ?=
CERT ?=
FIGURES ?=
TARGET ?=
FUZZ_SECONDS ?= 60
RUNS ?= 100000
FRESH ?=
JOBS ?= $(shell nproc)
SAMPLE ?= 260
SEED ?= 1
# The recipes read them as shell variables, so that any character survives.
export TEST PARAMS LINE KEY CERT

STARTED := $(shell date +%s)
IMAGE_CHECK := tools/check_images.py
# Also on a machine that has no Python yet.
IPMI_TESTS = $(shell sed -n 's/^    {\([0-9]*\),.*kIpmi.*/\1/p' testlib/tests.cc)
PRODUCT_FOLDERS := module report platform smbios guid net pci ipmi testlib drivers start dump
CODE := $(wildcard $(PRODUCT_FOLDERS) simulation replay mfgline qemu/bmc qemu/demonstration tests fuzz bench)
SOURCES = $(shell find $(CODE) -name '*.cc' -o -name '*.h')
# Products are analysed as they are built for images, the rest as host programs.
HOST_ONLY = $(filter simulation/% replay/% mfgline/% qemu/bmc/% tests/% fuzz/% bench/%,$(filter %.cc,$(SOURCES)))
PRODUCTS = $(filter-out $(HOST_ONLY),$(filter %.cc,$(SOURCES)))

.PHONY: help run test efi image tools pictures coverage mutation faults memcheck bench fuzz campaign format lint setup clean \
        check-format check-images check-builds check-host check-firmware check-dump check-mfgline lint-products slow
.NOTPARALLEL:

help: ## this list
	@echo "make TARGET"
	@sed -n 's/^\([a-z]*\):.*## \(.*\)/\1 \2/p' $(MAKEFILE_LIST) | while read -r name text; do printf '  %-9s %s\n' $$name "$$text"; done
	@echo "Another test, other expected values: make run TEST=5 PARAMS='\"Board_Manufacturer=Another Maker\"'"
	@echo "A FRU test, on a server with a management controller: make run TEST=34"
	@echo "Fuzzing that counts: make fuzz FUZZ_SECONDS=600; one target: TARGET=smbios. A million runs: make campaign RUNS=1000000"
	@echo "Both may be stopped and go on where they were; FRESH=1 begins anew"
	@echo "The whole line run of a server, of one with three faults, and one that writes: make run LINE=1, =faulty, =write"
	@echo "Under a debugger, see docs/debugging.md: make run TEST=4 GDB=1"
	@echo "With Secure Boot on, from a signed stick: make run LINE=1 SECURE=1; your own stick: make image KEY=db.key CERT=db.pem"

slow: setup lint-products check-builds check-mfgline ## what CI checks beyond `make test`, about 10 minutes
	@echo "==> All green after $$(($$(date +%s) - $(STARTED))) s"

run: setup-run build-image $(if $(LINE)$(filter $(IPMI_TESTS),$(TEST)),build-controller) ## one test on OVMF in QEMU, to watch; succeeds only for PASS
	@python3 -B qemu/run.py --test="$$TEST" --parameters="$$PARAMS" --line="$$LINE" $(if $(SECURE),--secure) $(if $(GDB),--gdb)

test: setup-test check-format check-images check-host check-firmware ## everything that has to be green
	@echo "==> All green after $$(($$(date +%s) - $(STARTED))) s"

efi: setup-efi build-image ## the UEFI images, in build/efi
	@ls -l build/efi/*.efi

image: setup-run build-image ## a drive for a real server: folder build/usb, FAT image build/usb.img
	@python3 -B qemu/station.py build/usb "$$KEY" "$$CERT"
	@echo "==> Copy build/usb/* to the root of a FAT stick, or attach build/usb.img as virtual media"

pictures: setup-run setup-mfgline build-image build-controller tools ## the last screens and a page of mfgline, in docs/pictures
	@python3 -B qemu/pictures.py docs/pictures
	@python3 -B mfgline/picture.py build/tools/mfgline docs/pictures/line-page.png

tools: setup-tools configure-tools ## programs for the desk and the line's server, in build/tools: mfgline and replay
	@echo "==> Building the tools"
	@cmake --build build/tools -j $(JOBS) --target tools

coverage: setup-coverage build-coverage ## lines and branches that the host tests reach; pages in build/coverage/report
	@find build/coverage -name '*.gcda' -delete
	@ctest --test-dir build/coverage -j $(JOBS) --output-on-failure
	@mkdir -p build/coverage/report
	@gcovr --root . --filter '($(subst $() ,|,$(PRODUCT_FOLDERS)))/' --object-directory build/coverage \
	  --exclude-throw-branches --exclude-unreachable-branches \
	  --html-details build/coverage/report/index.html --json build/coverage/report/coverage.json
	@python3 -B tools/coverage.py build/coverage/report/coverage.json

mutation: setup-coverage build-plain ## which of SAMPLE small faults in the products the host tests notice
	@python3 -B tools/mutate.py build/plain --sample $(SAMPLE) --seed $(SEED)

faults: setup-test configure-host ## every call of the platform failing in turn, in every way; about 4 minutes on two cores
	@cmake --build build/host -j $(JOBS) --target fault_tests replay_tests
	@seq 0 $$(($(JOBS) - 1)) | xargs -P $(JOBS) -I PART sh -c 'export FAULTS=PART/$(JOBS); \
	  build/host/fault_tests --gtest_brief=1 && build/host/replay_tests --gtest_brief=1 --gtest_filter=Dump.IsWhole*'

MEMCHECK_RUNS := module_tests:ReferenceServer.* fault_tests:StartFaults.TheRecord* replay_tests:Dump.OfA*:Machines.* \
                 driver_tests:SmbiosEntry.*:IpmiKcsDiscovery.*
memcheck: setup-memcheck configure-plain ## whole runs under valgrind: nothing depends on memory that nobody wrote; a minute
	@cmake --build build/plain -j $(JOBS) --target module_tests fault_tests replay_tests driver_tests
	@set -f; for run in $(MEMCHECK_RUNS); do \
	  echo "==> $$run"; \
	  valgrind --quiet --leak-check=no --error-exitcode=1 \
	    build/plain/$${run%%:*} --gtest_brief=1 --gtest_filter="$${run#*:}" || exit 1; \
	done

bench: setup-bench build-image tools configure-bench ## instructions, waits and sizes against their targets, about 4 minutes
	@echo "==> Building the measured program"
	@cmake --build build/bench -j $(JOBS) --target bench bmc
	@python3 -B bench/bench.py $(FIGURES)

fuzz: setup-fuzz configure-fuzz ## hostile devices, tables and files at random, FUZZ_SECONDS for each target
	@echo "==> Building the fuzz targets"
	@cmake --build build/fuzz -j $(JOBS) --target fuzz_targets
	@python3 -B tools/fuzz.py --seconds=$(FUZZ_SECONDS) --jobs=$(JOBS) $(if $(FRESH),--fresh) $(TARGET)

campaign: setup-test configure-campaign ## RUNS=100000 whole runs on machines that are wrong in many ways, each by its number
	@echo "==> Building the runs"
	@cmake --build build/campaign -j $(JOBS) --target fuzz_targets
	@python3 -B tools/campaign.py --runs=$(RUNS) --jobs=$(JOBS) $(if $(FRESH),--fresh)

format: setup-test ## lays out the C++ sources
	@clang-format -i $(SOURCES)

lint: lint-products configure-host-clang ## clang-tidy with its analyzer, cppcheck, flake8
	@echo "==> clang-tidy on host programs and tests"
	@printf '%s\n' $(HOST_ONLY) | xargs -r -P $(JOBS) -n 4 clang-tidy --quiet -p build/host-clang

lint-products: setup-lint configure-image-lint
	@echo "==> flake8"
	@flake8
	@echo "==> clang-tidy on what runs on firmware"
	@printf '%s\n' $(PRODUCTS) | xargs -P $(JOBS) -n 4 clang-tidy --quiet -p build/image-lint
	@echo "==> cppcheck"
	@cppcheck --quiet --std=c++20 --language=c++ --enable=warning,performance,portability --inline-suppr \
	  --suppress=CastIntegerToAddressAtReturn --error-exitcode=1 -I . -D GNU_EFI_USE_MS_ABI $(PRODUCTS)

setup: ## all packages that any target needs
	@./setup.sh all

clean: ## removes build/
	@rm -rf build

check-format:
	@echo "==> Format"
	@clang-format --dry-run -Werror $(SOURCES) || { echo '`make format` lays them out'; exit 1; }

check-images: build-image
	@echo "==> Images"
	@python3 -B $(IMAGE_CHECK) build/efi build/image

# By the other compiler, and the same bytes from another folder.
check-builds: build-image build-image-clang
	@echo "==> Images by clang"
	@python3 -B $(IMAGE_CHECK) build/efi-clang build/image-clang
	@echo "==> Images, once more from another folder"
	@JOBS=$(JOBS) sh tools/check_reproducible.sh

check-host: build-host
	@echo "==> Host tests"
	@ctest --test-dir build/host -j $(JOBS) --output-on-failure --progress

check-firmware: build-image build-host
	@echo "==> On OVMF in QEMU (software emulation)"
	@python3 -B qemu/end_to_end.py

# Every exchange of every test goes over the serial line: minutes, so not in `make test`.
check-dump: setup-test build-image build-controller tools
	@echo "==> Dumps of machines in QEMU, replayed"
	@python3 -B qemu/end_to_end.py dump

check-mfgline: setup-mfgline tools
	@echo "==> mfgline with a database server, and its pages in a browser"
	@python3 -B tests/mfgline/check_database.py build/tools/mfgline
	@python3 -B tests/mfgline/check_page.py build/tools/mfgline

setup-%:
	@./setup.sh $*

configure-%:
	@mkdir -p build
	@cmake --preset $* >build/$*.log 2>&1 || { cat build/$*.log; exit 1; }

# The management controller of a machine in QEMU.
build-controller: setup-test configure-host
	@echo "==> Building the management controller"
	@cmake --build build/host -j $(JOBS) --target bmc

build-%: configure-%
	@echo "==> Building $*"
	@cmake --build build/$* -j $(JOBS)
