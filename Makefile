# The README's two commands. Each installs what is missing, builds, and runs.
#   make run [FOLDER=/some/folder]   the desktop application (kelvora-cli where there is no display)
#   make test                        build and run every test
PRESET ?= dev
JOBS ?= $(shell nproc)
# The threaded tests: walks (attributes read ahead), searches, cancels, hashing ahead, results
# updates and cleaning.
THREADED_TESTS ?= Walk|SearchRun|Equivalence|CacheTest|HostileTrees|Queues|ResultsModel|KeepSelection|Cleaning|Grouping

.PHONY: deps build run cli test release asan tsan fuzz bench deb clean

deps:
	@scripts/install-deps

build: deps
	@test -f build/$(PRESET)/build.ninja || cmake --preset $(PRESET)
	cmake --build --preset $(PRESET) -j $(JOBS)

run: build
	build/$(PRESET)/src/ui/kelvora $(FOLDER)

cli: build
	build/$(PRESET)/src/kelvora-cli $(or $(FOLDER),$(HOME))

test: build
	ctest --preset $(PRESET) -j $(JOBS)

release:
	$(MAKE) build PRESET=release

# Every test under AddressSanitizer and UndefinedBehaviorSanitizer.
asan:
	$(MAKE) test PRESET=asan

# The threaded tests under ThreadSanitizer.
tsan: deps
	@test -f build/tsan/build.ninja || cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan -j $(JOBS) -R '$(THREADED_TESTS)'

# A short run of each fuzz target (FUZZ_SECONDS each).
FUZZ_SECONDS ?= 30
fuzz:
	@scripts/install-deps --fuzz
	scripts/fuzz $(FUZZ_SECONDS)

# The Debian package build/package/kelvora_VERSION_ARCH.deb (scripts/check-package tries it).
deb:
	@scripts/install-deps --package
	@test -f build/package/build.ninja || cmake --preset package
	cmake --build --preset package -j $(JOBS)
	cd build/package && cpack -G DEB

clean:
	rm -rf build
