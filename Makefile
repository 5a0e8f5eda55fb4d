# make run   - install what the build needs, build an optimised program and start it
# make test  - install what the build needs, build with sanitizers (warnings are
#              errors) and run every test
# make bench - build optimised and run the benchmarks against their peers
# make fuzz  - build the fuzz targets with clang and run them for a while
# make install - build optimised and install the programs, the desktop entry and the
#                icon under PREFIX (default /usr/local), inside DESTDIR when given

PACKAGES := build-essential cmake ninja-build pkg-config python3 \
	libgtest-dev libgmock-dev libbenchmark-dev \
	libcurl4-openssl-dev libglfw3-dev libgl-dev libx11-dev libfontconfig-dev libstb-dev \
	fonts-dejavu-core fonts-wqy-microhei xdg-utils xdg-user-dirs desktop-file-utils \
	xvfb xauth xdotool x11-apps libgl1-mesa-dri \
	libgumbo-dev libxml2-dev newsboat clang libclang-rt-14-dev libimgui-dev

ifeq ($(shell id -u),0)
SUDO :=
else
SUDO := sudo
endif

JOBS ?= $(shell nproc)
PREFIX ?= /usr/local
DESTDIR ?=
ARGS ?=

.PHONY: all deps run test bench fuzz release install clean

all: release

deps:
	@missing=""; for p in $(PACKAGES); do \
		dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
		echo "Installing:$$missing"; \
		$(SUDO) apt-get update && DEBIAN_FRONTEND=noninteractive $(SUDO) apt-get install -y $$missing; \
	fi

build/release/build.ninja: | deps
	cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DNEWSLOOM_TESTS=OFF -DNEWSLOOM_BENCH=ON

build/test/build.ninja: | deps
	cmake -S . -B build/test -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" -DNEWSLOOM_SANITIZE=ON -DNEWSLOOM_WERROR=ON

release: deps build/release/build.ninja
	cmake --build build/release -j $(JOBS) --target newsloom newsloom-tool newsloom-icons

install: release
	DESTDIR="$(DESTDIR)" cmake --install build/release --prefix "$(PREFIX)"
	@if [ -z "$(DESTDIR)" ] && command -v update-desktop-database >/dev/null; then \
		update-desktop-database -q "$(PREFIX)/share/applications" || true; \
	fi
	@if [ -z "$(DESTDIR)" ] && command -v gtk-update-icon-cache >/dev/null; then \
		gtk-update-icon-cache -q -t "$(PREFIX)/share/icons/hicolor" || true; \
	fi

run: release
	./build/release/newsloom $(ARGS)

# Warnings are errors here; set again on every run, so that a build folder made
# before the switch existed gets it too.
test: deps build/test/build.ninja
	cmake -S . -B build/test -DNEWSLOOM_WERROR=ON > /dev/null
	cmake --build build/test -j $(JOBS)
	cd build/test && ctest --output-on-failure -j $(JOBS) --repeat until-pass:2 $(CTEST_ARGS)

bench: deps build/release/build.ninja
	cmake --build build/release -j $(JOBS)
	./bench/run

fuzz: deps
	CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNEWSLOOM_TESTS=OFF -DNEWSLOOM_FUZZ=ON
	cmake --build build/fuzz -j $(JOBS)
	./fuzz/run

clean:
	rm -rf build
