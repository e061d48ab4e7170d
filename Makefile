# The everyday commands. Each works alone from a fresh clone: it installs what is missing
# (packaging/debian-packages.txt), builds, and does its work.
SHELL := /bin/bash
JOBS ?= $(shell nproc)
PREFIX ?= /usr/local
DESTDIR ?=
ARGS ?=
THREADED_TESTS ?= Work|Queues|RealQueues|LexicalIndex|Coroutine|Caller|HostileReader
DIR ?=

.DEFAULT_GOAL := help
.PHONY: help run test test-sanitized test-threads build bench bench-relevance check check-quick format install package clean

# $(call build,PRESET[,TARGETS])
define build
	@test -f build/$(1)/build.ninja || cmake --preset $(1) > /dev/null
	@cmake --build --preset $(1) -j $(JOBS) $(if $(2),--target $(2)) -- --quiet
endef

help:
	@echo "make run [ARGS='search …']   show the program at work, or run it with ARGS"
	@echo "make test                    build and run every test"
	@echo "make build                   the programs, in build/release/bin/"
	@echo "make bench                   the benchmarks"
	@echo "make bench-relevance DIR=…   how well the ranking finds what is relevant"
	@echo "make check                   format, tidy, layers, headers, sizes; the core under the thread sanitizer"
	@echo "make format                  lay the sources out as make check wants them"
	@echo "make install                 install under PREFIX ($(PREFIX))"
	@echo "make package                 a Debian package, in build/release/"

run: build
	@if [ -n "$$ARGS" ]; then eval "build/release/bin/nookery $$ARGS"; \
	 else tools/demo build/release/bin/nookery; fi
export ARGS

test:
	@packaging/setup
	$(call build,dev)
	@ctest --preset dev -j $(JOBS)

test-sanitized:
	@packaging/setup
	$(call build,asan-ubsan)
	@ctest --preset asan-ubsan -j $(JOBS)

# The work that runs on real queues, and what stands on it.
test-threads:
	@packaging/setup
	$(call build,tsan,core_tests reading_tests)
	@ctest --preset tsan -j $(JOBS) -R '$(THREADED_TESTS)' -E _NOT_BUILT

build:
	@packaging/setup
	$(call build,release,nookery program_texts)

bench:
	@packaging/setup
	$(call build,release)
	@# The one that types searches among package descriptions reads them there; the others read nothing.
	@set -e; for program in build/release/bin/*_bench; do apt-cache dumpavail | $$program; done

bench-relevance:
	@test -n "$(DIR)" || { echo "make bench-relevance needs DIR=…, a folder of collections" >&2; exit 2; }
	@packaging/setup
	$(call build,release,relevance_bench)
	@build/release/bin/relevance_bench "$(DIR)"

check:
	@packaging/setup check
	@tools/check
	@$(MAKE) --no-print-directory test-threads THREADED_TESTS=.

check-quick:
	@packaging/setup check
	@tools/check format layers sizes headers qt

format:
	@packaging/setup check
	@git ls-files '*.cpp' '*.h' | xargs clang-format-16 -i

install: build
	@DESTDIR="$(DESTDIR)" cmake --install build/release --prefix "$(PREFIX)"

package: build
	@packaging/setup package
	@cd build/release && cpack -G DEB

clean:
	rm -rf build
