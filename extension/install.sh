#!/usr/bin/env bash
# Tells the browsers of this account on Linux which program answers the extension, or takes that back.
#   install.sh [install|remove] [--browser NAME]... [--folder FOLDER]... [--program FILE] [--policy FILE]
#     --browser  chromium, chrome, edge, brave or vivaldi; by default all that have been started once
#     --folder   a NativeMessagingHosts folder of another browser
#     --program  tarnhost; by default the one of this project or package. A Windows program is run by Wine
#     --policy   the policy file, instead of the one beside the program
set -euo pipefail
name=tarn.messaging
id=kcejamnmjkkjeefgdkbjniolkgkmbmen
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
config=${XDG_CONFIG_HOME:-$HOME/.config}
own=${XDG_DATA_HOME:-$HOME/.local/share}/tarn
launcher=$own/tarn-messaging

Fail() { echo "install.sh: $*" >&2; exit 1; }

FolderOf() {
    case $1 in
    chromium) echo "$config/chromium" ;;
    chrome) echo "$config/google-chrome" ;;
    edge) echo "$config/microsoft-edge" ;;
    brave) echo "$config/BraveSoftware/Brave-Browser" ;;
    vivaldi) echo "$config/vivaldi" ;;
    *) Fail "there is no browser '$1' here; --folder takes the NativeMessagingHosts folder of any" ;;
    esac
}

action=install
program='' policy=''
folders=()
while (($#)); do
    case $1 in
    install | remove) action=$1 ;;
    --browser | --folder | --program | --policy)
        (($# > 1)) || Fail "$1 wants a value"
        case $1 in
        --browser) folders+=("$(FolderOf "$2")/NativeMessagingHosts") ;;
        --folder) folders+=("$2") ;;
        --program) program=$2 ;;
        --policy) policy=$2 ;;
        esac
        shift
        ;;
    -h | --help)
        sed -n '2,7s/^# \{0,1\}//p' "${BASH_SOURCE[0]}"
        exit 0
        ;;
    *) Fail "'$1' is not known; --help says what is" ;;
    esac
    shift
done
if ((${#folders[@]} == 0)); then
    for browser in chromium chrome edge brave vivaldi; do
        folder=$(FolderOf "$browser")
        if [[ -d $folder ]]; then folders+=("$folder/NativeMessagingHosts"); fi
    done
    ((${#folders[@]})) || Fail "no browser has been started by this account yet; start yours once, or name it: --browser chromium"
fi

if [[ $action == remove ]]; then
    for folder in "${folders[@]}"; do
        if [[ -e $folder/$name.json ]]; then
            rm "$folder/$name.json"
            echo "Removed $folder/$name.json"
        else
            echo "Nothing to remove in $folder"
        fi
    done
    rm -f "$launcher"
    if [[ -d $own ]]; then rmdir --ignore-fail-on-non-empty "$own"; fi
    exit 0
fi

if [[ -z $program ]]; then
    for one in "$here/../build/windows/bin/tarnhost.exe" "$here/../bin/tarnhost.exe"; do
        if [[ -f $one ]]; then program=$one && break; fi
    done
fi
[[ -n $program ]] || Fail "there is no tarnhost beside the extension; build it first, or name it: --program FILE"
[[ -f $program ]] || Fail "$program is not there"
program=$(realpath "$program")
command=("$program" messaging)
if [[ $program == *.exe ]]; then
    runner=$here/../cmake/wine-run
    if [[ -x $runner ]]; then command=("$(realpath "$runner")" "${command[@]}"); else command=(wine "${command[@]}"); fi
fi
if [[ -n $policy ]]; then
    [[ -f $policy ]] || Fail "$policy is not there"
    policy=$(realpath "$policy")
    if [[ $program == *.exe ]]; then policy=Z:$policy; fi
    command+=(--policy "$policy")
fi

mkdir -p "$own"
{
    echo '#!/usr/bin/env bash'
    echo '# Started by a browser for its extension. Made by install.sh, which removes it, too.'
    printf 'exec'
    printf ' %q' "${command[@]}"
    # shellcheck disable=SC2016
    echo ' "$@"'
} >"$launcher.new"
chmod 755 "$launcher.new"
mv "$launcher.new" "$launcher"
path=${launcher//\\/\\\\}
path=${path//\"/\\\"}
for folder in "${folders[@]}"; do
    mkdir -p "$folder"
    cat >"$folder/$name.json" <<MANIFEST
{
  "name": "$name",
  "description": "Judges the pages that the tarn extension asks about",
  "path": "$path",
  "type": "stdio",
  "allowed_origins": ["chrome-extension://$id/"]
}
MANIFEST
    echo "Wrote $folder/$name.json"
done
echo "Now load the folder $here as an extension: chrome://extensions, developer mode, \"Load unpacked\"."
