# The README's two commands. Each installs what is missing, builds, and runs.
#   make run [FOLDER=/some/folder]   find the duplicates in a folder (default: your home)
#   make test                        build and run every test
PRESET ?= dev
FOLDER ?= $(HOME)
JOBS ?= $(shell nproc)

.PHONY: deps build run test release asan tsan clean

deps:
	@scripts/install-deps

build: deps
	@test -f build/$(PRESET)/build.ninja || cmake --preset $(PRESET)
	cmake --build --preset $(PRESET) -j $(JOBS)

run: build
	build/$(PRESET)/src/kelvora-cli "$(FOLDER)"

test: build
	ctest --preset $(PRESET) -j $(JOBS)

release:
	$(MAKE) build PRESET=release

asan:
	$(MAKE) test PRESET=asan

tsan:
	$(MAKE) test PRESET=tsan

clean:
	rm -rf build
