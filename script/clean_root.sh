# clean_root.sh: sourced by scripts that run commands in a bare Debian. debootstrap creates it in a folder
# under build/, which is removed when the script ends, also by a signal. Commands in it run in their own
# mount and process namespaces, so that nothing stays mounted or keeps running.
# Needs root and the network. The output of `quietly` goes to $log, which the script sets.

fail() {
  echo "$(basename "$0"): $*" >&2
  exit 1
}

((EUID == 0)) || fail "run it as root"
unshare --mount --propagation private --pid --fork --kill-child true ||
  fail "cannot create mount and process namespaces: not allowed on this machine or in this container"
script/setup cleanroot
mkdir -p build
roots=$(mktemp --directory "$PWD/build/roots.XXXXXX")
contained=
trap 'end_contained; rm -rf --one-file-system "$roots"' EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

# In the background, because bash handles a signal at once only while it is in `wait`.
contain() {
  unshare --mount --propagation private --pid --fork --kill-child "$@" </dev/null &
  contained=$!
  local result=0
  wait "$contained" || result=$?
  contained=
  return "$result"
}

end_contained() {
  [[ -n $contained ]] || return 0
  kill -KILL "$contained" 2>/dev/null || true
  wait "$contained" 2>/dev/null || true
}

quietly() { "$@" >>"$log" 2>&1 || { tail -n 30 "$log" >&2; exit 1; }; }

# clean_root RELEASE MIRROR: sets `root` to a new bare Debian of that release. Only the first is made by
# debootstrap; later ones are copies.
clean_root() {
  local plain=$roots/plain-$1
  if [[ ! -d $plain ]]; then
    echo "== $1: a bare root"
    contain debootstrap --variant=minbase "$1" "$plain" "$2" >>"$log" 2>&1 ||
      { tail -n 5 "$log" >&2; fail "could not make a bare $1 from $2; see $log"; }
    # Faster; the root need not survive a power failure.
    echo force-unsafe-io >"$plain/etc/dpkg/dpkg.cfg.d/unsafe-io"
  fi
  root=$(mktemp --directory "$roots/$1.XXXXXX")
  cp --archive "$plain/." "$root"
}

# inside COMMAND...: runs a command in the root with an empty environment; only http_proxy is kept.
inside() {
  contain bash -c '
    set -e
    root=$0
    mount -t proc proc "$root/proc"
    mount -t sysfs -o ro sysfs "$root/sys"
    mount -t devpts -o newinstance,ptmxmode=0666 devpts "$root/dev/pts"
    mount -t tmpfs tmpfs "$root/dev/shm"
    exec chroot "$root" env -i --default-signal PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
      DEBIAN_FRONTEND=noninteractive ${http_proxy:+"http_proxy=$http_proxy"} "$@"' "$root" "$@"
}

# try_packages FOLDER: installs the packages from FOLDER in the bare root and uses them: marks a clip, and
# builds and runs the examples with the development package.
try_packages() {
  echo "== contents of the packages"
  for package in "$1"/*.deb; do dpkg-deb --extract "$package" "$roots/content"; done
  tests/install/binaries_test hardened "$roots/content"
  tests/install/binaries_test run_paths "$roots/content"

  cp "$1"/*.deb "$root/tmp/"
  echo "== the program package"
  quietly inside sh -c 'apt-get -q update && apt-get -q install --yes --no-install-recommends /tmp/cmhost_*.deb'
  inside cmhost --version
  # Y4M by hand, because only the package and its dependencies are installed: two grey frames, 160 x 90.
  inside sh -c '
    set -e
    cd /tmp
    { echo "YUV4MPEG2 W160 H90 F25:1 Ip A1:1 C420jpeg"
      for frame in 1 2; do echo FRAME; head -c 21600 /dev/zero | tr "\000" "\200"; done; } >grey.y4m
    cmhost grey.y4m marked.y4m
    test "$(wc -c <marked.y4m)" -ge 43200
    ! cmp -s grey.y4m marked.y4m
    dpkg --verify cmhost'

  echo "== the development package"
  quietly inside sh -c 'apt-get -q install --yes --no-install-recommends /tmp/static-watermark-dev_*.deb \
    g++ cmake make pkg-config'
  quietly inside sh -c '
    set -e
    cd /tmp
    for example in host module; do
      cmake -S /usr/share/doc/static-watermark-dev/examples/$example -B $example
      cmake --build $example
    done
    g++ -std=c++17 /usr/share/doc/static-watermark-dev/examples/host/host.cpp -o by-pkg-config \
      $(pkg-config --cflags --libs cm)'
  inside sh -c '
    set -e
    cd /tmp
    module=$(pkg-config --variable=moduledir cm_contract)/static_watermark.so
    host/host $module <grey.y4m >by-host.y4m 2>/dev/null
    ./by-pkg-config $module <grey.y4m >by-pkg-config.y4m
    cmp by-host.y4m by-pkg-config.y4m
    ! cmp -s grey.y4m by-host.y4m
    cmhost --module module/negative.so grey.y4m negative.y4m'

  echo "== removing the packages"
  quietly inside dpkg --purge static-watermark-dev cmhost
  inside find /usr /etc '(' -name '*cmhost*' -o -name '*static*watermark*' -o -name 'libcm.so*' ')' \
    >"$roots/left"
  [[ ! -s $roots/left ]] || { echo "left behind: $(<"$roots/left")" >&2; exit 1; }
  echo "the packages work"
}
