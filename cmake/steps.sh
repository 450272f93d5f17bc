# Steps of ./zel and the machinery that runs them; sourced by it, in the repository's root.
#
# A step NAME ARGS is the function do_NAME. It runs with its output in build/logs/NAME-ARGS.log, and stops at the first
# command that fails. If key_NAME exists, it prints a digest of what the step depends on, and fails when the step's
# result is not there: a step whose digest was noted by an earlier run is not run again.

die() {
    echo "zel: $*" >&2
    exit 1
}

# --- running ---

planned_steps=()
planned_titles=()

plan() { # "NAME ARGS | TITLE"; a step that is planned already is not planned twice
    local step=${1%% |*} known
    for known in "${planned_steps[@]}"; do
        [[ $known != "$step" ]] || return 0
    done
    planned_steps+=("$step")
    planned_titles+=("${1#*| }")
}

run_plan() {
    mkdir -p build/logs build/stamps
    local i
    for i in "${!planned_steps[@]}"; do
        run_step "$((i + 1))/${#planned_steps[@]}" "${planned_titles[i]}" ${planned_steps[i]}
    done
}

log_of() { # NAME ARGS
    local name="$*"
    echo "build/logs/${name// /-}.log"
}

stamp_of() { # NAME ARGS
    local name="$*"
    echo "build/stamps/${name// /-}"
}

key_of() { # NAME ARGS: empty when the step must run
    ! declare -F "key_$1" >/dev/null || "key_$1" "${@:2}" 2>/dev/null || true
}

run_step() { # MARK TITLE NAME ARGS
    local mark="[$1] $2" stamp key
    shift 2
    stamp=$(stamp_of "$@")
    key=$(key_of "$@")
    if [[ -n $key && -f $stamp && $(<"$stamp") == "$key" ]]; then
        echo "$mark: up to date"
        return
    fi
    rm -f "$stamp"
    run_logged "$mark" "$@"
    [[ $step_status -eq 0 ]] || step_failed "$@"
    ! declare -F "key_$1" >/dev/null || note_result "$@"
}

note_result() { # NAME ARGS
    local key
    key=$(key_of "$@")
    [[ -n $key ]] || step_failed "$@"
    echo "$key" >"$(stamp_of "$@")"
}

# Leaves the step's exit status in step_status. It must not be called where its own status is tested: there bash
# would not stop the step at its first failing command.
run_logged() { # MARK NAME ARGS
    local mark=$1 begun=$SECONDS log
    shift
    log=$(log_of "$@")
    set -m
    (
        set -euo pipefail
        "do_$1" "${@:2}"
    ) >"$log" 2>&1 </dev/null &
    running=$!
    set +m
    show_progress "$mark" "$log" "$begun"
    step_status=0
    wait "$running" || step_status=$?
    running=
    [[ $step_status -ne 0 ]] || show_line "$mark: done ($((SECONDS - begun)) s)"
}

# On a terminal one line is kept up to date; elsewhere a line a minute says that the step is alive.
show_progress() { # MARK LOG BEGUN
    local elapsed told=0
    [[ -t 1 ]] || echo "$1 ..."
    while kill -0 "$running" 2>/dev/null; do
        elapsed=$((SECONDS - $3))
        if [[ -t 1 ]]; then
            printf '\r\033[K%s' "$(printf '%s: %d s  %s' "$1" "$elapsed" "$(last_line "$2")" | cut -c "1-$((${COLUMNS:-80} - 1))")"
        elif ((elapsed >= told + 60)); then
            told=$elapsed
            echo "$1: $elapsed s  $(last_line "$2")"
        fi
        sleep 0.2
    done
}

show_line() {
    [[ ! -t 1 ]] || printf '\r\033[K'
    echo "$1"
}

last_line() {
    tail -n 1 "$1" 2>/dev/null | tr '\r\t' '  ' | cut -c 1-100
}

step_failed() { # NAME ARGS
    local log
    log=$(log_of "$@")
    show_line "zel: the step \"$*\" failed (status $step_status); the end of $log:" >&2
    tail -n 60 "$log" >&2
    tell_failed_tests "$log" >&2
    exit 1
}

# ctest shows a failed program's output among all others: what failed in it is told again at the end.
tell_failed_tests() { # LOG
    grep -q '^The following tests FAILED:' "$1" || return 0
    echo "zel: what failed in it:"
    {
        grep -aE -B 2 -A 12 '(: Failure|SUMMARY: [A-Za-z]+Sanitizer|WARNING: ThreadSanitizer)' "$1" | tail -n 200
        grep -aE '^\[  FAILED  \] .*(\)|[a-z])$' "$1" | sort -u
        tell_unfinished_tests "$1"
        sed -n '/^The following tests FAILED:/,$p' "$1" | grep -E '^[[:space:]]+[0-9]+ - '
    } || true # any of them may have found nothing
}

# The last lines of each program that was ended: the test that it was in is the last that it names.
tell_unfinished_tests() { # LOG
    awk '
        function tell(  i) {
            if (title == "") return
            print title
            for (i = count > 12 ? count - 11 : 1; i <= count; ++i) print line[i]
            title = ""
        }
        /^ *[0-9]+\/[0-9]+ Test +#/ { tell(); count = 0; if (/\*\*\*(Timeout|Exception)/) title = $0; next }
        /^ +Start +[0-9]+: / || /^[0-9]+% tests passed/ { tell(); next }
        { line[++count] = $0 }
        END { tell() }' "$1"
}

running=
stop_running() {
    [[ -z $running ]] || kill -- "-$running" 2>/dev/null || true
}
trap stop_running EXIT
trap 'exit 130' INT TERM

jobs_count() { nproc; }

digest() { # FILE...
    cat -- "$@" | sha256sum | cut -d ' ' -f 1
}

# --- what the machine lacks ---

missing_packages() { # GROUP...
    local groups=" $* " group package
    while read -r group package; do
        [[ -n $group && $group != \#* && $groups == *" $group "* ]] || continue
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q ' installed$' || echo "$package"
    done <cmake/packages.txt
}

do_packages() { # GROUP...
    command -v apt-get >/dev/null || die "this needs Debian 12: there is no apt-get to install packages with"
    local missing
    missing=$(missing_packages "$@" | tr '\n' ' ')
    [[ -n $missing ]] || return 0
    if [[ $(id -u) -ne 0 ]]; then
        echo "These packages are missing, and only root can install them. Run"
        echo "    sudo apt-get update && sudo apt-get install --no-install-recommends -y $missing"
        echo "and then the same ./zel command again."
        return 1
    fi
    install_packages $missing || (apt-get update && install_packages $missing)
}

install_packages() {
    DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends -o DPkg::Lock::Timeout=300 "$@"
}

# --- fetched parts ---

key_python() {
    [[ -x .venv/bin/python ]] && digest models/requirements.txt
}

do_python() {
    rm -rf .venv
    /usr/bin/python3 -m venv .venv
    .venv/bin/pip install --disable-pip-version-check --no-cache-dir --require-hashes -r models/requirements.txt
}

key_openvino() { # SYSTEM
    [[ -f build/deps/openvino-$1/openvino/include/openvino/c/openvino.h ]] && digest "cmake/openvino-$1.txt"
}

do_openvino() { # SYSTEM
    local -A tags=([linux]=manylinux_2_28_x86_64 [windows]=win_amd64)
    local target=build/deps/openvino-$1
    rm -rf "$target" "$target.part"
    mkdir -p "$target.part"
    .venv/bin/pip download --disable-pip-version-check --no-cache-dir --no-deps --only-binary :all: --require-hashes \
        --platform "${tags[$1]}" --python-version 3.11 --implementation cp -d "$target.part" \
        -r "cmake/openvino-$1.txt"
    .venv/bin/python -m zipfile -e "$target.part"/openvino-*.whl "$target.part"
    rm "$target.part"/openvino-*.whl
    mv "$target.part" "$target"
}

key_minidump_reader() {
    [[ -f build/deps/minidump-reader/minidump/minidumpfile.py ]] && digest cmake/minidump-reader.txt
}

do_minidump_reader() {
    local target=build/deps/minidump-reader
    rm -rf "$target" "$target.part"
    .venv/bin/pip install --disable-pip-version-check --no-cache-dir --no-deps --only-binary :all: --require-hashes \
        --target "$target.part" -r cmake/minidump-reader.txt
    mv "$target.part" "$target"
}

key_headers() {
    [[ -f build/deps/include/CLI/CLI.hpp && -f build/deps/include/stb/stb_image.h ]] &&
        dpkg-query -W libcli11-dev libstb-dev | sha256sum
}

do_headers() {
    rm -rf build/deps/include
    mkdir -p build/deps/include
    cp -r /usr/include/CLI /usr/include/stb build/deps/include/
}

key_highway() {
    [[ -f build/deps/highway/hwy/highway.h ]] && digest cmake/fetch-highway
}

do_highway() {
    mkdir -p build/deps
    cmake/fetch-highway build/deps/highway
}

# --- made parts ---

key_models() {
    [[ -f build/models/sample.png ]] && digest $(find models -name '*.py' -o -name '*.txt' -o -name '*.xml' | LC_ALL=C sort)
}

do_models() {
    .venv/bin/python -m models --output build/models
}

folder_of() { # PRESET
    case "$1" in
    release) echo linux ;;
    *) echo "$1" ;;
    esac
}

do_configure() { # PRESET
    cmake --preset "$1"
}

do_compile() { # PRESET [TARGET]
    cmake --build --preset "$1" -j "$(jobs_count)" ${2:+--target "$2"}
}

# --- running what was built ---

do_demo() {
    bash client/demo.sh build/linux/bin build/models out
}

key_wine_prefix() {
    [[ -f build/wine/system.reg ]] && digest cmake/wine-prefix
}

do_wine_prefix() {
    rm -rf build/wine
    cmake/wine-prefix build/wine
}

# One ctest run over several build folders, so that one closing line counts all of their tests.
gather_tests() { # FOLDER BUILD...
    local folder=build/$1 build
    shift
    mkdir -p "$folder"
    for build in "$@"; do
        rm -rf "build/$build/reports"
        echo "subdirs(\"$PWD/build/$build\")"
    done >"$folder/CTestTestfile.cmake"
}

run_ctest() { # FOLDER
    ctest --test-dir "build/$1" --output-on-failure --no-tests=error --timeout 600 -j "$(jobs_count)"
}

# Wine's server and services, kept up for all tests: programs that start them side by side can wait for each other.
start_wine() {
    WINEPREFIX=$PWD/build/wine "$(wineserver_program)" -p
    cmake/run-under-wine cmd /c exit
}

stop_wine() {
    WINEPREFIX=$PWD/build/wine "$(wineserver_program)" -k || true
}

wineserver_program() {
    command -v wineserver || echo /usr/lib/wine/wineserver64
}

do_run_tests() {
    local status=0
    start_wine
    gather_tests tests linux windows
    run_ctest tests || status=1
    cmake/compare-systems || status=1
    stop_wine
    cmake/left-over || status=1
    cmake/count-tests linux=build/linux/reports windows=build/windows/reports || status=1
    return "$status"
}

do_run_checks() {
    gather_tests checks asan tsan fuzz
    run_ctest checks
}

do_lint() {
    cmake/no-atomic-waits
    cmake/tidy "$PWD/build/asan" platform ipc util engines crash detect host client plugins tests vp
    cmake/tidy "$PWD/build/fuzz" fuzz
}

# What the two commands end with: the counts, where they were taken, then ctest's last lines.
closing_lines() { # NAME
    local log
    log=$(log_of "$1")
    grep -E '^(linux|windows|only on [a-z]+|capacity [01]): ' "$log" || true
    sed -n '/tests passed,/,/^Total Test time/p' "$log"
}
