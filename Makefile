# Thin front to CMake: each target says what it runs. `make` alone lists them.
PRESET ?= release
JOBS ?= $(shell nproc)
FUZZ_SECONDS ?= 60

STALL_OPTIONS ?=

.PHONY: help demo stall test test-asan test-tsan test-debug test-clang test-packages check mutants fuzz bench format tidy tidy-changed install clean
help:
	@echo "make demo        build and run a server and a client, and show their messages"
	@echo "make stall       let thousands of connections stall, and time calls meanwhile"
	@echo "make test        build everything and run every test"
	@echo "make test-asan   the same under the address and undefined behaviour sanitizers"
	@echo "make test-tsan   the concurrency tests under the thread sanitizer"
	@echo "make test-debug  the unit tests with assertions on"
	@echo "make test-clang  build everything with clang"
	@echo "make check       the format of the sources and the order of includes"
	@echo "make mutants     plant faults and show which no test notices; MUTANTS='--seed 7 --count 50 --since main'"
	@echo "make test-packages  make the Debian packages and try them in a clean root (as root)"
	@echo "make fuzz        run the fuzz targets from their seeds, FUZZ_SECONDS (60) each"
	@echo "make bench       measure on this machine, beside an independent SOAP toolkit"
	@echo "make format      format the sources; make tidy runs the static checks"
	@echo "make install     install into PREFIX (default /usr/local)"

demo:
	@scripts/setup demo
	@cmake --preset release -DSOAP_BUILD_TESTS=OFF -DSOAP_BUILD_BENCH=OFF > build-demo.log 2>&1 || { cat build-demo.log; exit 1; }
	@cmake --build build -j $(JOBS) --target bank_server bank_client hello_server hello_client soap_tap soapcall
	@rm -f build-demo.log
	@scripts/demo build/bin

stall:
	@scripts/setup demo
	@cmake --preset release -DSOAP_BUILD_TESTS=OFF -DSOAP_BUILD_BENCH=OFF > build-demo.log 2>&1 || { cat build-demo.log; exit 1; }
	@cmake --build build -j $(JOBS) --target bank_server bank_client
	@rm -f build-demo.log
	@bench/stall build $(STALL_OPTIONS)

test:
	@scripts/setup test
	cmake --preset release -DSOAP_BUILD_TESTS=ON -DSOAP_BUILD_BENCH=ON
	cmake --build build -j $(JOBS)
	ctest --test-dir build -j 4 --output-on-failure

test-asan test-tsan: test-%:
	@scripts/setup test
	cmake --preset $*
	cmake --build --preset $* -j $(JOBS)
	ctest --test-dir build/$* -j 4 --output-on-failure $(if $(filter tsan,$*),-LE single_threaded)

test-debug:
	@scripts/setup test
	cmake --preset debug -DSOAP_BUILD_BENCH=OFF
	cmake --build --preset debug -j $(JOBS)
	ctest --test-dir build/debug -j 4 --output-on-failure -LE single_threaded

test-clang:
	@scripts/setup clang
	cmake --preset clang
	cmake --build --preset clang -j $(JOBS)

test-packages:
	@scripts/setup packages
	cmake --preset release
	cmake --build build -j $(JOBS)
	scripts/test-packages build

fuzz:
	@scripts/setup fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz -j $(JOBS) --target fuzz_targets
	fuzz/run build/fuzz $(FUZZ_SECONDS) $(JOBS)

bench:
	@scripts/setup bench
	cmake --preset release -DSOAP_BUILD_TESTS=ON -DSOAP_BUILD_BENCH=ON
	cmake --build build -j $(JOBS)
	bench/run build
	bench/client_run build
	bench/bulk_run build
	bench/echo_run build

format:
	git ls-files '*.h' '*.cpp' '*_imp' | xargs clang-format -i

check:
	@scripts/setup check
	git ls-files '*.h' '*.cpp' '*_imp' | xargs clang-format --dry-run -Werror
	scripts/check-includes

# As SINCE has it: the last commit's, where there is one before it. The whole tree takes half an hour.
SINCE ?= HEAD~1
tidy-changed:
	@scripts/setup check
	cmake --preset release
	git diff --name-only --diff-filter=d $(SINCE) -- 'src/*.cpp' 'platform/*.cpp' | head -n 20 | \
		xargs -r -P $(JOBS) -n 1 clang-tidy -p build --quiet

mutants:
	@scripts/setup test
	scripts/mutants $(MUTANTS)

tidy:
	cmake --preset release
	git ls-files 'src/*.cpp' 'platform/*.cpp' | xargs -P $(JOBS) -n 4 clang-tidy -p build --quiet

install:
	cmake --preset release -DSOAP_BUILD_TESTS=OFF -DSOAP_BUILD_BENCH=OFF
	cmake --build build -j $(JOBS)
	cmake --install build --prefix $(or $(PREFIX),/usr/local)

clean:
	rm -rf build
