# Shared by the scripts: the packages that the project needs, and building a preset.
# Sourced, with the project's folder as the current one.

BUILD_PACKAGES="g++ cmake ninja-build pkg-config linux-libc-dev
  libcjson-dev rapidjson-dev nlohmann-json3-dev libfmt-dev libsndfile1-dev libcli11-dev libgtest-dev help2man python3-jsonschema"
# What the ARM presets need, and of what their folders of libraries are made.
ARM_PACKAGES="cmake ninja-build pkg-config python3-jsonschema qemu-user googletest"
SYSROOT_PACKAGES="libstdc++-12-dev libc++-14-dev libc++abi-14-dev
  libcjson-dev rapidjson-dev nlohmann-json3-dev libfmt-dev libsndfile1-dev libcli11-dev"
BENCH_PACKAGES="libbenchmark-dev libsoxr-dev libspeexdsp-dev libswresample-dev libavutil-dev"
FUZZ_PACKAGES="clang libclang-rt-14-dev"
ANALYSIS_PACKAGES="clang clang-tidy cppcheck"

# Installs those of the given packages that are missing.
install_packages() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$' ||
            missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    echo "installing: ${missing[*]}"
    local root=()
    [ "$(id -u)" -eq 0 ] || root=(sudo)
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq ||
        echo "apt-get update failed, going on with the package lists that are there" >&2
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
        --no-install-recommends --no-remove "${missing[@]}" >/dev/null
}

# Installs what a preset builds and runs its tests with.
install_for() {
    case $1 in
        arm64-gcc) install_packages $ARM_PACKAGES g++-aarch64-linux-gnu ;;
        armhf-gcc) install_packages $ARM_PACKAGES g++-arm-linux-gnueabihf ;;
        arm*) install_packages $ARM_PACKAGES clang lld llvm ;;
        *) install_packages $BUILD_PACKAGES ;;
    esac
    case $1 in arm*) script/sysroot "${1%-*}" ;; esac
}

# build PRESET [cmake option...] [--target name...]
build() {
    local preset=$1 options=()
    shift
    while [ $# -gt 0 ] && [ "$1" != --target ]; do
        options+=("$1")
        shift
    done
    cmake --preset "$preset" "${options[@]}" >/dev/null
    cmake --build --preset "$preset" "$@"
}
