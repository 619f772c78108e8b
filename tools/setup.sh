#!/usr/bin/env bash
# Installs the distribution packages that the purposes need (Debian and Ubuntu).  setup.sh [PURPOSE…], those of NeedsOf
source tools/common.sh

# What each purpose needs: a command or a file, and the package that brings it.
NeedsOf() {
    case $1 in
    build) cat <<'TABLE'
g++                                  g++
cmake                                cmake
ninja                                ninja-build
python3                              python3
x86_64-w64-mingw32-g++-posix         g++-mingw-w64-x86-64
x86_64-w64-mingw32-g++-win32         g++-mingw-w64-x86-64
wine                                 wine
/usr/lib/wine/wine64                 wine64
/usr/src/googletest/CMakeLists.txt   googletest
/usr/include/CLI/CLI.hpp             libcli11-dev
/usr/include/nlohmann/json.hpp       nlohmann-json3-dev
/usr/include/toml++/toml.h           libtomlplusplus-dev
/usr/include/fmt/core.h              libfmt-dev
/usr/include/boost/beast.hpp         libboost-dev
/usr/include/zlib.h                  zlib1g-dev
/usr/x86_64-w64-mingw32/include/zlib.h libz-mingw-w64-dev
TABLE
        ;;
    test_links) cat <<'TABLE'
clang++-14                           clang-14
ld.lld-14                            lld-14
TABLE
        ;;
    check) cat <<'TABLE'
clang-format                         clang-format
clang-tidy                           clang-tidy
zsh                                  zsh
groff                                groff-base
/usr/lib/python3/dist-packages/jsonschema/__init__.py python3-jsonschema
TABLE
        ;;
    package) cat <<'TABLE'
wixl                                 wixl
msibuild                             msitools
llvm-dlltool-14                      llvm-14
lld-link-14                          lld-14
clang-14                             clang-14
git                                  git
TABLE
        ;;
    browser) cat <<'TABLE'
chromium                             chromium
node                                 nodejs
npm                                  npm
openssl                              openssl
TABLE
        ;;
    serve) cat <<'TABLE'
curl                                 curl
wget                                 wget
git                                  git
openssl                              openssl
dig                                  bind9-dnsutils
kdig                                 knot-dnsutils
/usr/lib/python3/dist-packages/websockets/__init__.py python3-websockets
TABLE
        ;;
    corpus) cat <<'TABLE'
parallel                             parallel
/usr/sbin/slurmctld                  slurmctld
/usr/sbin/slurmd                     slurmd
sbatch                               slurm-client
/usr/sbin/sshd                       openssh-server
ssh                                  openssh-client
TABLE
        ;;
    fleet) cat <<'TABLE'
/usr/lib/postgresql                  postgresql
/usr/sbin/rsyslogd                   rsyslog
/usr/lib/x86_64-linux-gnu/rsyslog/ompgsql.so rsyslog-pgsql
TABLE
        ;;
    serve_bench) cat <<'TABLE'
curl                                 curl
wrk                                  wrk
/usr/sbin/nginx                      nginx-light
/usr/sbin/squid                      squid
/usr/sbin/privoxy                    privoxy
/usr/sbin/e2guardian                 e2guardian
TABLE
        ;;
    bench) echo "/usr/include/benchmark/benchmark.h   libbenchmark-dev" ;;
    replay) echo "/usr/bin/time                        time" ;;
    fuzz) cat <<'TABLE'
clang++-14                           clang-14
/usr/lib/llvm-14/bin/llvm-symbolizer llvm-14
/usr/lib/clang/14/lib/linux/libclang_rt.fuzzer-x86_64.a libclang-rt-14-dev
TABLE
        ;;
    *) Fail "setup.sh knows no purpose '$1'" ;;
    esac
}

MissingPackages() {
    local purpose need package
    for purpose in "$@"; do
        while read -r need package; do
            if [[ $need == /* ]]; then [[ -e $need ]] || Say "$package"
            else command -v "$need" >/dev/null || Say "$package"; fi
        done < <(NeedsOf "$purpose")
    done
}

AsRoot() {
    if [[ $(id -u) == 0 ]]; then "$@"
    elif command -v sudo >/dev/null; then sudo "$@"
    else Fail "Not root, and there is no sudo."; fi
}

(($#)) || set -- build check package browser bench
for purpose in "$@"; do NeedsOf "$purpose" >/dev/null; done
mapfile -t missing < <(MissingPackages "$@")
((${#missing[@]})) || exit 0
log=build/logs/setup.log
byHand="Install by hand, then run ./dev again:  apt-get install --no-install-recommends ${missing[*]}"
command -v apt-get >/dev/null || Fail "These Debian packages are missing, and there is no apt-get: ${missing[*]}"
mkdir -p build/logs
Say "Installing ${missing[*]} (log: $log)"
AsRoot apt-get update >"$log" 2>&1 || { tail -n 5 "$log"; Fail "The package lists cannot be fetched. $byHand"; }
AsRoot env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}" \
    >>"$log" 2>&1 </dev/null || { tail -n 15 "$log"; Fail "The packages cannot be installed. $byHand"; }
mapfile -t missing < <(MissingPackages "$@")
((${#missing[@]} == 0)) || Fail "Installed, and yet not found what these packages bring: ${missing[*]}"
