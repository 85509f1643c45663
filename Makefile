# Thin front to CMake: each target says what it runs. `make` alone lists them.
PRESET ?= release
JOBS ?= $(shell nproc)
FUZZ_SECONDS ?= 60

.PHONY: help demo test test-asan test-tsan test-clang test-packages fuzz bench format tidy install clean
help:
	@echo "make demo        build and run a server and a client, and show their messages"
	@echo "make test        build everything and run every test"
	@echo "make test-asan   the same under the address and undefined behaviour sanitizers"
	@echo "make test-tsan   the concurrency tests under the thread sanitizer"
	@echo "make test-clang  build everything with clang"
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
	bench/bulk_run build
	bench/echo_run build

format:
	git ls-files '*.h' '*.cpp' '*_imp' | xargs clang-format -i

tidy:
	cmake --preset release
	git ls-files 'src/*.cpp' 'platform/*.cpp' | xargs -P $(JOBS) -n 4 clang-tidy -p build --quiet

install:
	cmake --preset release -DSOAP_BUILD_TESTS=OFF -DSOAP_BUILD_BENCH=OFF
	cmake --build build -j $(JOBS)
	cmake --install build --prefix $(or $(PREFIX),/usr/local)

clean:
	rm -rf build
