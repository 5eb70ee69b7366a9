# The home of ./run: HOME/root is what the server takes for the root of the file system, HOME/pg the database.

make_home() {
    mkdir -p -- "$home" 2>/dev/null && [[ -w $home ]] || fail "could not create home directory \"$home\""
    home=$(cd -- "$home" && pwd -P)
    root=$home/root
    config=$root/var/packages/MediaServer/etc
    data=$root/var/packages/MediaServer/target/etc
    mkdir -p "$config" "$data" "$root/var/run" "$root/var/log" "$root/tmp" "$root/usr/nimb/etc.defaults" ||
        fail "could not write home directory \"$home\""
    export DMS_SYSROOT=$root
}

# The lock lives as long as the script: no process that it starts inherits it.
lock_home() {
    exec {lock_fd}<>"$home/run.lock" || fail "could not open lock file \"$home/run.lock\""
    if ! flock -n "$lock_fd"; then
        fail "the media server already runs from home \"$home\" (process $(cat "$home/run.lock")): stop it first, or choose another --home"
    fi
    printf '%d\n' $$ >"$home/run.lock"
}

# Replaced by every run, except for what the user may have edited.
install_data() {
    local file
    for file in "$project"/share/*; do
        case ${file##*/} in
            dmsinfo.conf | agent.conf | mimetypes.txt | *.svg | systemd) ;;
            *) cp -R "$file" "$data/" ;;
        esac
    done || fail "could not install the data files in \"$data\""
    cp "$project/share/mimetypes.txt" "$root/usr/nimb/etc.defaults/" || fail "could not install the list of MIME types"
    install_editable "$project/share/agent.conf" "$data/agent.conf"
    install_editable "$project/share/dmsinfo.conf" "$config/dmsinfo.conf"
    [[ -z $friendly_name ]] || set_friendly_name
}

# install_editable FROM TO: a file that the user has changed stays; one that is as it was installed is brought up to date.
install_editable() {
    [[ -e $1 ]] || return 0
    if [[ ! -e $2 ]] || cmp -s "$2" "$2.shipped"; then
        cp "$1" "$2" || fail "could not install \"$2\""
    fi
    cp "$1" "$2.shipped"
}

# The first conversion of a description is the name of the machine. It moves into the model description when the user
# has given another name, because a description must keep all five in their order.
set_friendly_name() {
    local text
    # As XML text, as a printf format, and as the right side of the substitution below.
    text=$(printf '%s' "$friendly_name" |
        sed -e 's/&/\&amp;/g; s/</\&lt;/g; s/>/\&gt;/g' -e 's/%/%%/g' -e 's/[&\\|]/\\&/g')
    sed -i -e "s|<friendlyName>%s|<friendlyName>$text|" \
        -e "s|\(<modelDescription>[^<]*\)<|\1 on %s<|" "$data"/{allservices,device,device_xbox,device_win,uctt}.xml ||
        fail "could not write the friendly name"
}

configure() {
    local folder
    {
        printf '# What ./run was last asked to serve; every run writes this file anew.\n'
        for folder in "${media[@]}"; do
            # A display name follows the last " |": one of its own keeps a path whole that has such a bar.
            if [[ $folder == *" |"* ]]; then
                printf 'all = %s | %s\n' "$folder" "${folder##*/}"
            else
                printf 'all = %s\n' "$folder"
            fi
        done
    } >"$config/media_folders.conf" || fail "could not write \"$config/media_folders.conf\""
    [[ -z $interface ]] || set_option network_mediaservice "$interface"
    # A left-over from a run that was killed would be taken for an answer of the new daemon.
    rm -f "$root/var/run/dms.ip"
}

# set_option KEY VALUE: in dmsinfo.conf; the first line with a key wins, so the old one is replaced where it stands.
set_option() {
    local file=$config/dmsinfo.conf
    if grep -q "^[[:blank:]]*$1[[:blank:]]*=" "$file"; then
        sed -i "s|^[[:blank:]]*$1[[:blank:]]*=.*|$1=\"$2\"|" "$file"
    else
        printf '%s="%s"\n' "$1" "$2" >>"$file"
    fi || fail "could not write \"$file\""
}
