#!/usr/bin/env bash
# Small networks of their own, for everything that broadcasts: a workstation, three servers and an
# outside device, each in a network namespace, joined by a bridge in one more. Nothing of it
# touches the machine's own interfaces, and there is no way out. The workstation asks the device for
# names, which knows none: without a name server there it refuses at once. Needs root.
#
#   PREFIX-workstation 10.77.0.10   PREFIX-main  10.77.0.11   PREFIX-backup 10.77.0.12
#   PREFIX-device      10.77.0.20   PREFIX-spare 10.77.0.13   PREFIX-switch (the bridge)
#
# To be sourced, or run: namespaces.sh up|down PREFIX, namespaces.sh plug|unplug PREFIX HOST,
# namespaces.sh run PREFIX HOST COMMAND..., namespaces.sh crowd PREFIX HOST: gives the host the
# hundred addresses from 10.77.0.100 on as well.
# Several prefixes can be up at once.

namespaces_hosts=(workstation main backup spare device)

namespaces_address() {
    case $1 in
        workstation) echo 10.77.0.10 ;;
        main) echo 10.77.0.11 ;;
        backup) echo 10.77.0.12 ;;
        spare) echo 10.77.0.13 ;;
        device) echo 10.77.0.20 ;;
        *)
            echo "namespaces: no such host: $1" >&2
            return 2
            ;;
    esac
}

namespaces_check_prefix() {
    [[ $1 =~ ^[a-z0-9][a-z0-9-]*$ ]] && return 0
    echo "namespaces: a prefix is made of small letters, digits and '-', not '$1'" >&2
    return 2
}

namespaces_exists() {
    [[ -e /run/netns/$1 ]]
}

namespaces_up() {
    local prefix=$1 host switch=$1-switch
    namespaces_check_prefix "$prefix" || return
    namespaces_down "$prefix" || return
    ip netns add "$switch" &&
        ip -n "$switch" link set lo up &&
        ip -n "$switch" link add bridge type bridge forward_delay 0 mcast_snooping 0 &&
        ip -n "$switch" link set bridge up || return
    for host in "${namespaces_hosts[@]}"; do
        namespaces_add_host "$prefix" "$host" || return
    done
    # What is started in a namespace sees the files of its folder in place of the machine's own.
    mkdir -p "/etc/netns/$prefix-workstation" &&
        echo "nameserver $(namespaces_address device)" \
            >"/etc/netns/$prefix-workstation/resolv.conf"
}

namespaces_add_host() {
    local name=$1-$2 switch=$1-switch port=to-$2
    # The cable is made inside the switch, so neither end is ever seen outside.
    ip netns add "$name" &&
        ip -n "$switch" link add "$port" type veth peer name lan netns "$name" &&
        ip -n "$switch" link set "$port" master bridge up &&
        ip -n "$name" link set lo up &&
        ip -n "$name" address add "$(namespaces_address "$2")/24" broadcast + dev lan &&
        ip -n "$name" link set lan up
}

# Ends what still runs inside, and takes the network away. Does nothing where there is none.
namespaces_down() {
    local prefix=$1 host names=()
    namespaces_check_prefix "$prefix" || return
    rm -rf "/etc/netns/$prefix-workstation"
    for host in "${namespaces_hosts[@]}" switch; do
        if namespaces_exists "$prefix-$host"; then names+=("$prefix-$host"); fi
    done
    ((${#names[@]} > 0)) || return 0
    namespaces_end_processes "${names[@]}"
    for host in "${names[@]}"; do
        ip netns delete "$host" || return
    done
}

namespaces_processes() {
    local name pid
    for name in "$@"; do
        for pid in $(ip netns pids "$name" 2>/dev/null); do
            # What calls us from inside is not a leftover.
            if [[ $pid != "$$" && $pid != "$PPID" ]]; then echo "$pid"; fi
        done
    done
}

# Asks first, and after five seconds no longer. Returns when all are gone.
namespaces_end_processes() {
    local signal tries pid
    for signal in TERM KILL; do
        for pid in $(namespaces_processes "$@"); do
            kill "-$signal" "$pid" 2>/dev/null || true # it may have just ended
        done
        for ((tries = 0; tries < 100; ++tries)); do
            [[ -n $(namespaces_processes "$@") ]] || return 0
            sleep 0.05
        done
    done
    return 0
}

# Pulls the host's cable at the switch: the host's interface loses its carrier.
namespaces_unplug() {
    namespaces_address "$2" >/dev/null && ip -n "$1-switch" link set "to-$2" down
}

namespaces_plug() {
    namespaces_address "$2" >/dev/null && ip -n "$1-switch" link set "to-$2" up
}

namespaces_crowd() {
    namespaces_address "$2" >/dev/null || return
    local last
    for ((last = 100; last < 200; ++last)); do
        echo "address add 10.77.0.$last/24 dev lan"
    done | ip -n "$1-$2" -batch -
}

# Becomes the command when this file is run, so that its process id is the command's.
namespaces_run() {
    namespaces_address "$2" >/dev/null || return
    ip netns exec "$1-$2" "${@:3}"
}

if [[ ${BASH_SOURCE[0]} == "$0" ]]; then
    case "$1:$#" in
        up:2 | down:2 | plug:3 | unplug:3 | crowd:3) "namespaces_$1" "${@:2}" ;;
        run:[0-9]*)
            (($# >= 4)) && namespaces_address "$3" >/dev/null && exec ip netns exec "$2-$3" "${@:4}"
            ;;
        *)
            echo "usage: namespaces.sh up|down PREFIX" >&2
            echo "       namespaces.sh plug|unplug PREFIX workstation|main|backup|spare|device" >&2
            echo "       namespaces.sh crowd PREFIX HOST" >&2
            echo "       namespaces.sh run PREFIX HOST COMMAND..." >&2
            exit 2
            ;;
    esac
fi
