# shellcheck shell=bash
# How every script tells what it is for and refuses what it does not know. A script sources this file
# before it changes its folder, and says how many arguments it takes:
#
#     source "$(dirname "$0")/usage.sh"
#     take_arguments 0 1 "$@"

# refuse REASON: ends the script, for a command line that it does not know.
refuse() {
    echo "$(basename "$0"): $1; try: $0 --help" >&2
    exit 64
}

# take_arguments FEWEST MOST ARGUMENTS...: prints the script's help if --help is among the arguments,
# which is the comment at its head; refuses any other number of them.
take_arguments() {
    local fewest=$1 most=$2 argument
    shift 2
    for argument in "$@"; do
        [ "$argument" = --help ] || continue
        sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
        exit 0
    done
    if [ $# -lt "$fewest" ]; then
        refuse "arguments are missing"
    elif [ $# -gt "$most" ]; then
        refuse "not known: ${*:most + 1}"
    fi
}

# take_seconds DEFAULT ARGUMENTS...: the same for a script that takes nothing but a number of seconds,
# which is afterwards in "seconds".
take_seconds() {
    local default=$1
    shift
    take_arguments 0 1 "$@"
    seconds=${1-$default}
    [[ $seconds =~ ^[1-9][0-9]{0,6}$ ]] || refuse "not a number of seconds: $seconds"
}
