# shellcheck shell=bash
# Sourced by the other scripts: paths, builds, and printing of progress.

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
jobs="$(nproc)"

say() { printf '%s\n' "$*"; }
fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# The steps of a long script: step TITLE ends the previous step and prints its time.
stepTitle=""
stepStart=0
stepTimes=()

endStep() {
    [[ -n "$stepTitle" ]] || return 0
    local seconds=$((SECONDS - stepStart))
    stepTimes+=("$(printf '%5d s  %s' "$seconds" "$stepTitle")")
    say "-- $stepTitle: $seconds s"
    stepTitle=""
}

step() {
    endStep
    stepTitle="$1"
    stepStart=$SECONDS
    say ""
    say "== $stepTitle"
}

printStepTimes() {
    endStep
    say ""
    say "== Time so far"
    printf '%s\n' "${stepTimes[@]}"
}

# Keeps compiled objects between builds where ccache is installed.
useCcache() {
    command -v ccache >/dev/null || return 0
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
    # What ccache asks for where headers are compiled ahead.
    export CCACHE_SLOPPINESS="${CCACHE_SLOPPINESS:-pch_defines,time_macros}"
    if [[ -z "${CCACHE_DIR:-}" && ! -w "${HOME:-/nonexistent}" ]]; then
        export CCACHE_DIR="$root/build/ccache"
    fi
}

# configure PRESET [ARGUMENT...] and build PRESET [TARGET...]; quiet where the output is no terminal.
configure() {
    local preset="$1"
    shift
    (cd "$root" && cmake --preset "$preset" --log-level=NOTICE "$@")
}

build() {
    local preset="$1" quiet=()
    shift
    [[ -t 1 ]] || quiet=(-- --quiet)
    (cd "$root" && cmake --build --preset "$preset" -j"$jobs" ${1:+--target "$@"} "${quiet[@]}")
}

# useAddressesForSanitizers "$@": the sanitizers need less random addresses than some kernels use.
# Starts the script again, with the same arguments, where the kernel's setting cannot be changed.
useAddressesForSanitizers() {
    local randomBits
    randomBits="$(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 28)"
    [[ "$randomBits" -gt 28 && -z "${TELVORA_PLAIN_ADDRESSES:-}" ]] || return 0
    sysctl -q -w vm.mmap_rnd_bits=28 2>/dev/null && return 0
    setarch -R true || fail "sanitizers need vm.mmap_rnd_bits=28 or setarch -R; neither works"
    say "Starting again without address randomization"
    TELVORA_PLAIN_ADDRESSES=1 exec setarch -R "$0" "$@"
}
