# Shared by ./test, ./demo, examples/scale_out/run and scripts. Sourced.

# Runs a command with root's rights.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo -E "$@"
    else
        echo "needs root or sudo for: $*" >&2
        return 1
    fi
}

# Sets PG_CONFIG and server_version: the caller's PG_CONFIG, else Debian's newest server.
find_server() {
    if [ -z "${PG_CONFIG:-}" ]; then
        PG_CONFIG=$(find /usr/lib/postgresql/*/bin/pg_config 2>/dev/null | sort -V | tail -n 1)
    fi
    if [ -z "$PG_CONFIG" ]; then
        echo "no PostgreSQL server with development files found; set PG_CONFIG" >&2
        return 1
    fi
    export PG_CONFIG
    server_version=$("$PG_CONFIG" --version | sed -E 's/^[^0-9]*([0-9]+).*/\1/')
}

# with_progress LOG HOW_FAR COMMAND...: runs a command, its output in LOG. Whoever waits is told how
# far it is, by what HOW_FAR prints of the log: at a terminal every second, else twice a minute.
with_progress() {
    local log=$1 how_far=$2 begin=$SECONDS every=30 ticker status=0
    shift 2
    : >"$log"
    [ ! -t 1 ] || every=1
    # It ends with the shell that waits for the command, however that ends.
    while sleep "$every" >/dev/null 2>&1 && kill -0 $$ 2>/dev/null; do
        if [ -t 1 ]; then
            printf '\r\033[K%s, %d s' "$("$how_far" "$log")" $((SECONDS - begin))
        else
            printf '%s, %d s\n' "$("$how_far" "$log")" $((SECONDS - begin))
        fi
    done &
    ticker=$!
    "$@" >"$log" 2>&1 || status=$?
    kill "$ticker" 2>/dev/null
    wait "$ticker" 2>/dev/null || true
    [ ! -t 1 ] || printf '\r\033[K'
    return "$status"
}

# How far a build is, by what make printed; `to_compile` is the number of files that it begins with.
files_compiled() {
    if [ "$to_compile" -eq 0 ]; then
        echo "installing"
    else
        echo "$(grep -c ' -c -o ' "$1") of $to_compile files compiled"
    fi
}
make_and_install() {
    make -j2 PG_CONFIG="$PG_CONFIG" && as_root make install PG_CONFIG="$PG_CONFIG"
}

# Builds the extension and installs it into the server of PG_CONFIG; the output goes to the file $1.
build_and_install() {
    local log=$1 begin to_compile
    begin=$(now)
    mkdir -p "$(dirname "$log")"
    echo "building the extension for $("$PG_CONFIG" --version); the first time takes some minutes"
    to_compile=$(make -n PG_CONFIG="$PG_CONFIG" 2>/dev/null | grep -c ' -c -o ' || true)
    if ! with_progress "$log" files_compiled make_and_install; then
        tail -n 30 "$log" >&2
        echo "the build failed; all of its output is in $log" >&2
        return 1
    fi
    echo "built and installed in $(since "$begin") s"
}

# At a terminal, tells every second that a server is being started, until the file $1 is there.
show_start() {
    local begin=$SECONDS
    [ -t 1 ] || return 0
    while sleep 1 >/dev/null 2>&1 && [ ! -e "$1" ] && kill -0 $$ 2>/dev/null; do
        printf '\r\033[Kstarting a private server, %d s' $((SECONDS - begin))
    done
}

# Runs a command against a private server that is thrown away afterwards. A runaway backend ends
# in an error and not in a machine that stops answering. Tries again when another server took the
# port in the meantime.
on_private_server() {
    local begun status attempt starting
    begun=$(mktemp -u)
    for attempt in 1 2 3; do
        show_start "$begun" &
        starting=$!
        status=0
        (
            ulimit -v 8000000
            # shellcheck disable=SC2016  # for the shell inside
            # All private servers have one name: each gets its own file that says whether it runs.
            exec pg_virtualenv -t -v "$server_version" -i '--locale=C.UTF-8 --encoding=UTF8' \
                -o "external_pid_file=$begun.pid" \
                bash -c 'touch "$0" && { [ ! -t 1 ] || printf "\r\033[K"; } && exec "$@"' "$begun" "$@"
        ) || status=$?
        kill "$starting" 2>/dev/null || true
        wait "$starting" 2>/dev/null || true
        [ ! -e "$begun" ] || break
        echo "the private server did not start (attempt $attempt)" >&2
        sleep 2
    done
    rm -f "$begun"
    return "$status"
}

# Seconds since the epoch, with a fraction.
now() { date +%s.%N; }
# How long it is since $1, in seconds with one digit.
since() { awk -v from="$1" -v to="$(now)" 'BEGIN { printf "%.1f", to - from }'; }

# Counters of tests: they read a log and print the passed and the failed.
count_lines() { printf '%d %d\n' "$(grep -cE "$2" "$1")" "$(grep -cE "$3" "$1")"; }
count_tap() { count_lines "$1" '^ok( |$)' '^not ok( |$)'; }
# pg_regress speaks TAP from PostgreSQL 16 on.
count_regress() {
    count_lines "$1" '^(ok [0-9]|test .* \.\.\. +ok |  +[^ ]+ +\.\.\. ok )' \
        '^(not ok [0-9]|test .* \.\.\. +FAILED|  +[^ ]+ +\.\.\. FAILED)'
}
# What `ctest --verbose` printed: the tests of each GoogleTest executable; an executable of another
# kind counts as one test, and so does one that ended without saying which test failed.
count_ctest() {
    awk '
        /^[0-9]+: \[  PASSED  \] [0-9]+ test/ { passed += $5; told[$1 + 0] = 1 }
        /^[0-9]+: \[  FAILED  \] .* \([0-9]+ ms\)/ { failed++; blamed[$1 + 0] = 1 }
        match($0, /Test +#[0-9]+: /) {
            number = substr($0, RSTART, RLENGTH)
            gsub(/[^0-9]/, "", number)
            if ($0 ~ / Passed +[0-9.]+ sec/) { if (!told[number]) passed++ }
            else if (!blamed[number]) failed++
        }
        END { print passed + 0, failed + 0 }' "$1"
}

# A bounded run of each fuzzer of a build, always of the same inputs.
run_fuzzers() {
    # shellcheck disable=SC2016  # for the shells inside
    printf '%s\0' "$1"/fuzz_* | xargs -0 -n 1 -P "${JOBS:-2}" bash -c '
        name=$(basename "$0")
        inputs=20000
        [ "$name" != fuzz_calls ] || inputs=500
        [ "$name" != fuzz_validation ] || inputs=5000
        said=$("$0" --random "$inputs" 1 2>&1)
        status=$?
        [ "$status" -eq 0 ] && verdict="ok - $name" || verdict="not ok - $name"
        printf "%s\n" "$said" "$verdict"
        exit "$status"'
}
