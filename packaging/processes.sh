# The processes that ./run starts: each in a session of its own, so that Ctrl-C reaches only the script, which then
# stops them in the reverse order of their start; and each told by the kernel when the script dies without a word.

declare -A process_of=()   # name to process id
declare -A stop_signal=()  # name to the signal that makes it end in order
started=()                 # names in the order of their start
stop_requested=""
lock_fd=""

trap 'exit 130' INT
trap 'exit 143' TERM HUP
trap 'status=$?; stop_all; exit $status' EXIT

# start NAME SIGNAL COMMAND...: in the background.
start() {
    local name=$1 signal=$2
    shift 2
    setsid -- setpriv --pdeathsig "$signal" -- "$@" </dev/null {lock_fd}>&- &
    remember "$name" "$signal" $!
}

remember() {
    process_of[$1]=$3
    stop_signal[$1]=$2
    started+=("$1")
}

forget() {
    local name names=()
    for name in "${started[@]}"; do
        [[ $name == "$1" ]] || names+=("$name")
    done
    started=(${names[@]+"${names[@]}"})
    unset "process_of[$1]" "stop_signal[$1]"
}

# step COMMAND...: waits for the command, but a signal to the script ends it at once. Its exit status.
step() {
    local status
    start step TERM "$@"
    wait "${process_of[step]}"
    status=$?
    forget step
    return "$status"
}

# A sleep that a signal to the script interrupts.
pause() {
    sleep "$1" {lock_fd}>&- &
    wait $!
}

still_runs() {
    kill -0 "${process_of[$1]}" 2>/dev/null
}

# Stops one process; a process that does not end within ten seconds is killed.
stop() {
    local pid=${process_of[$1]} signal=${stop_signal[$1]} tries
    forget "$1"
    kill -"$signal" "$pid" 2>/dev/null
    for ((tries = 0; tries < 100; tries++)); do
        kill -0 "$pid" 2>/dev/null || break
        sleep 0.1
    done
    # What is left of the session goes with it: a transcoder, a compiler.
    kill -KILL -- "-$pid" 2>/dev/null
    wait "$pid" 2>/dev/null
}

stop_all() {
    trap '' INT TERM HUP
    while ((${#started[@]})); do
        stop "${started[-1]}"
    done
    [[ -z ${socket_to_remove-} ]] || rm -rf "$socket_to_remove" "$home/socket"
}

name_of() {
    local name
    for name in "${started[@]}"; do
        [[ ${process_of[$name]} != "$1" ]] || printf '%s' "$name"
    done
}

# Waits for the request to stop. A database that ended is started again; anything else that ends, ends the run.
supervise() {
    local ended="" name restarts=0
    trap 'stop_requested=yes' INT TERM HUP
    while [[ -z $stop_requested ]]; do
        wait -n -p ended "${process_of[@]}"
        [[ -z $stop_requested && -n $ended ]] || continue
        name=$(name_of "$ended")
        forget "$name"
        [[ $name == database ]] && ((restarts++ < 20)) || fail "$name ended unexpectedly; see $root/var/log"
        say "the database ended; starting it again"
        pause 2
        [[ -n $stop_requested ]] || start_database
    done
    say ""
    say "Stopping"
    exit 0
}
