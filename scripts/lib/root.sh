# A Debian tree with nothing but apt, to install packages into; to be sourced in the root of the checkout.
# Must be run by root or a user who can become root.

# shellcheck source=scripts/lib/instrumented.sh
source scripts/lib/instrumented.sh

as_root=()
((EUID == 0)) || as_root=(sudo)

# make_root DIRECTORY: creates the tree, with this machine's Debian release and from its own registry.
make_root() {
    local release
    release=$(. /etc/os-release && echo "$VERSION_CODENAME")
    root=$1
    source_entries | sed 's/^deb-src /deb /' | awk -v release="$release" '
        { for (i = 1; i <= NF; ++i) if ($i ~ "^" release "(-updates|-security)?$") print }' >"$root.list"
    "${as_root[@]}" mmdebstrap --mode=root --quiet --variant=apt "$release" "$root" "$root.list"
    # /proc is only missing if a container forbids it: the programs need little of it.
    "${as_root[@]}" mount -t proc proc "$root/proc" 2>/dev/null || true
    apt-config dump | sed -n '/::proxy /Ip' | "${as_root[@]}" tee "$root/etc/apt/apt.conf.d/90proxy" >/dev/null
    # The tree need not survive a crash of the machine.
    echo force-unsafe-io | "${as_root[@]}" tee "$root/etc/dpkg/dpkg.cfg.d/unsafe-io" >/dev/null
    in_root useradd --create-home --uid 1000 ada
    in_root apt-get update -qq
}

remove_root() {
    [[ -n ${root-} ]] || return 0
    "${as_root[@]}" umount "$root/proc" 2>/dev/null || true
    "${as_root[@]}" rm -rf --one-file-system "$root" "$root.list"
}

# in_root COMMAND...: as root, with nothing of this machine's environment.
in_root() {
    "${as_root[@]}" chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive "$@"
}

# as_user [NAME=VALUE...] COMMAND...: as the user ada, in her home.
as_user() {
    "${as_root[@]}" chroot --userspec=1000:1000 "$root" \
        env -i -C /home/ada PATH=/usr/bin:/bin HOME=/home/ada LC_ALL=C.UTF-8 "$@"
}

# install_in_root PACKAGE...: packages of the registry by name, files by their path in the tree.
install_in_root() {
    in_root apt-get install -qqy --no-install-recommends -o Dpkg::Use-Pty=0 "$@" >"$root.log" 2>&1 ||
        { cat "$root.log" >&2; return 1; }
}
