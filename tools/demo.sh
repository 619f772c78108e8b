#!/usr/bin/env bash
# Builds everything that a host needs and shows it at work. Nothing counts as shown without tarnhost's own last lines.
source tools/common.sh

# One capture per protocol, so that what they show fits on a few screens.
captures=(http_curl tls_curl dns_basic ftp_pipelined_control smb2_311_smbclient smb1_smbclient_basic mixed_small)
bin=build/windows/bin

# Show PATTERN ARGUMENTS…: one run of tarnhost, whose output has a line that matches.
Show() {
    local pattern=$1 log=build/demo/output.log
    shift
    Host "$@" | tee "$log"
    grep -q "$pattern" "$log" || Fail "The demo failed: tarnhost $1 ended without what it should show."
}

# What makes replay write for the terminal that this runs on, since its output goes through a pipe.
look=()
if [[ -t 1 ]] && size=$(stty size </dev/tty 2>/dev/null) && ((${size#* } > 40)); then
    look=(--columns "$((${size#* } - 1))")
    [[ -n ${NO_COLOR:-} ]] || look+=(--color always)
fi

# InstallFolder NAME: an install folder of its own with the built modules; the caller writes the policy.
InstallFolder() {
    rm -rf "build/demo/$1"
    mkdir -p "build/demo/$1"
    cp "$bin"/*.dll "$bin"/*.DLL "build/demo/$1"
}

ShowTraffic() {
    Heading "Real traffic through tarn.dll, with the reference companions and the default policy, under Wine"
    cat <<'TEXT'
tarnhost replays the bundled captures as a network filter would see them: requests, TLS hellos, DNS answers and FTP
commands go through the URL scan, and every frame through the packet scan and the SMB monitor. Below stands each
verdict of the library, with its reason, and each file on a share. Requests that no rule decided are let pass and only
counted. The web servers of the captures stand in a private network, which a scan lets pass early, so one of them is
mapped to a public address; tarnhost says where.
The policy that decides is the companions' policy file in build/windows/bin: edit it and run this again.

TEXT
    local files=("${captures[@]/#/tests/captures/}")
    Show '^[0-9]* requests: [0-9]* allowed, [0-9]* blocked' \
        replay "${look[@]}" --brief --map 10.20.30.10=192.0.2.10 "${files[@]/%/.pcap}"
}

ShowAfterHours() {
    Heading "The same policy with two more lines: a schedule of parental control, and no time in it"
    InstallFolder after-hours
    cat "$bin/tarn-policy.toml" tools/demo/after_hours.toml >build/demo/after-hours/tarn-policy.toml
    Show '^[0-9]* requests: ' \
        replay "${look[@]}" --install-folder build/demo/after-hours tests/captures/ftp_pipelined_control.pcap
}

ShowExtension() {
    Heading "What a browser's extension reports"
    Say "The extension hands over whole URLs, also those of https://, whose path no network filter sees."
    Say
    Show '^https://six.lantern.example/level/1 .*BLOCKED' extension https://six.lantern.example/level/1 \
        https://static.lantern.example/cookies https://www.lantern.example/
}

# LogonFolder NAME: an install folder with the policy tools/demo/NAME.toml for this account.
LogonFolder() {
    local policy
    InstallFolder "$1"
    policy=$(<"tools/demo/$1.toml")
    policy=${policy//@ACCOUNT@/$account}
    printf '%s\n' "${policy//@TOMORROW@/${tomorrow,,}}" >"build/demo/$1/tarn-policy.toml"
}

ShowLogons() {
    account=$(Host logon --json | sed -n 's/.*"account":"\([^"]*\)".*/\1/p')
    tomorrow=$(LC_ALL=C date -d tomorrow +%A)
    [[ -n $account ]] || Fail "The demo failed: tarnhost logon names no account."
    Heading "A logon outside the time grid"
    Say "The policy in build/demo/time_grid lets the account \"$account\" in on $tomorrow from 8 to 20 o'clock only."
    Say
    LogonFolder time_grid
    Show 'REFUSED' logon --install-folder build/demo/time_grid
    Heading "A logon after the day's allowance"
    Say "The policy in build/demo/allowance gives it one hour a day. A tick is a minute of use; the second run is later"
    Say "on the same day, after the end of the session."
    Say
    LogonFolder allowance
    Show 'REFUSED' logon --install-folder build/demo/allowance --keep-state build/demo/allowance/state --ticks 60
    Show 'REFUSED' logon --install-folder build/demo/allowance --keep-state build/demo/allowance/state \
        --event logoff --event logon
}

tools/setup.sh build
Say "Building tarn.dll, the reference companions and tarnhost for Windows"
Build windows products tarnhost
mkdir -p build/demo
WarmWine >/dev/null
ShowTraffic
ShowAfterHours
ShowExtension
ShowLogons
