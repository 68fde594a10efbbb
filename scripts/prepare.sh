# shellcheck shell=sh
# ./run and ./test source this file with `top` set to the project's folder. `prepare programs` or
# `prepare tests` installs missing packages and builds in build/release; `prepare shop` builds the
# sample shop beside the programs; `prepare windows` does the same for Windows in
# build/windows-tested; `prepare checks` installs what scripts/check calls. Quiet if nothing is to be
# done; a step that fails shows its output and ends the script.

packages_for_commands='g++:g++ cmake:cmake ninja:ninja-build zstd:zstd'
# Looks for perl as a package: perl-base, which every system has, brings the command without its
# modules.
other_packages='perl libgdbm-dev libgdbm-compat-dev libgettextpo-dev libcli11-dev libcsv-dev libhpdf-dev libarchive-dev nettle-dev nlohmann-json3-dev libpq-dev'
check_packages='git clang libclang-rt-14-dev clang-format clang-tidy shellcheck mandoc'
test_packages='libgtest-dev libvterm-dev make pkg-config dpkg-dev file'
# The compiler for Windows, Wine, and what the sources of Debian's libraries are unpacked with.
windows_packages='g++-mingw-w64-x86-64-posix libz-mingw-w64-dev wine64 googletest ca-certificates xz-utils'

# Programs of PostgreSQL's server, of any version and from anywhere.
has_database_server() {
  [ -x "$(pg_config --bindir 2>/dev/null)/initdb" ] || ls /usr/lib/postgresql/*/bin/initdb >/dev/null 2>&1
}

missing_packages() {
  for pair in $packages_for_commands; do
    command -v "${pair%%:*}" >/dev/null 2>&1 || echo "${pair#*:}"
  done
  wanted_packages=$other_packages
  case $wanted in
    programs | shop) ;;
    *) wanted_packages="$wanted_packages $test_packages" ;;
  esac
  [ "$wanted" != windows ] || wanted_packages="$wanted_packages $windows_packages"
  [ "$wanted" != checks ] || wanted_packages="$wanted_packages $check_packages"
  case $wanted in
    programs | shop) ;;
    *) has_database_server || echo postgresql ;;
  esac
  for package in $wanted_packages; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || echo "$package"
  done
}

# quietly LOG COMMAND...: shows the command's output only if the command fails.
quietly() {
  log=$1
  shift
  "$@" >"$log" 2>&1 9>&- && return
  status=$?
  cat "$log" >&2
  echo "$(basename "$0"): failed: $*" >&2
  exit "$status"
}

# Installs packages, as root. A database server that is installed for the first time would make a
# database cluster for the whole machine and start it; the tests make servers of their own, so a file
# of settings forbids that meanwhile.
# shellcheck disable=SC2016  # a script for another shell
install_packages='
  settings=/etc/postgresql-common/createcluster.d
  case " $* " in *" postgresql "*)
    trap "exit 1" HUP INT TERM
    trap "rm -f $settings/marigold.conf; rmdir $settings 2>/dev/null" EXIT
    mkdir -p $settings && echo "create_main_cluster = false" >$settings/marigold.conf || exit
  esac
  apt-get install --yes --no-install-recommends "$@"
'

install_missing() {
  missing=$(missing_packages | tr '\n' ' ')
  [ -n "$missing" ] || return 0
  as_root=''
  if [ "$(id -u)" != 0 ]; then
    if ! sudo -n true 2>/dev/null; then
      echo "$(basename "$0"): these Debian packages are missing; install them as root and try again:" >&2
      echo "  apt-get install $missing" >&2
      exit 1
    fi
    as_root='sudo -n'
  fi
  echo "Installing $missing..." >&2
  install_log=$(mktemp)
  # shellcheck disable=SC2086  # words are meant to be split
  quietly "$install_log" $as_root apt-get update
  # shellcheck disable=SC2086
  quietly "$install_log" $as_root env DEBIAN_FRONTEND=noninteractive sh -c "$install_packages" sh $missing
  rm -f "$install_log"
}

# A build folder for the programs alone is configured again for the tests, and stays so.
configure_release() {
  testing=ON
  optimised='-O3 -DNDEBUG'
  # The tour begins sooner; its work is small. The benchmarks refuse such a folder.
  [ "$wanted" = tests ] || { testing=OFF; optimised='-O1 -DNDEBUG'; }
  [ -f "$build/build.ninja" ] && { [ "$wanted" != tests ] || grep -q '^BUILD_TESTING:BOOL=ON' "$build/CMakeCache.txt"; } && return
  # Objects with machine code beside the code for linking build more slowly; only an installed
  # library needs them.
  quietly "$build/configure.log" cmake --preset release -DBUILD_TESTING="$testing" -DMARIGOLD_INSTALL="$testing" \
    -DCMAKE_CXX_FLAGS_RELEASE="$optimised"
}

# shellcheck disable=SC2154 # the sourcing script sets top
build_release() {
  mkdir -p "$build"
  exec 9>"$build/.lock"
  flock 9  # two at once would write the same files
  cd "$top" || exit 1
  configure_release
  [ -f "$build/command/scrivel" ] || echo 'Building, which takes a minute or two the first time...' >&2
  [ "$wanted" != shop ] || [ -f "$build/examples/shop/shop" ] || echo 'Building the shop...' >&2
  case $wanted in
    tests) target=all ;;
    shop) target='programs shop' ;;
    *) target=programs ;;
  esac
  # shellcheck disable=SC2086  # words are meant to be split
  quietly "$build/build.log" cmake --build --preset release --target $target
  flock -u 9
  exec 9>&-
}

# The tests of the Windows build read and write files of the Linux build, which must be there. Tests
# do not become faster by more optimisation than this, and link-time optimisation would take half of
# the time to build; the preset windows has it all.
build_windows() {
  mkdir -p "$windows_build"
  exec 9>"$windows_build/.lock"
  flock 9
  cd "$top" || exit 1
  [ -f "$windows_build/build.ninja" ] || echo 'Building for Windows, which takes some minutes the first time...' >&2
  quietly "$windows_build/libraries.log" scripts/windows_libraries build/windows-libraries
  [ -f "$windows_build/build.ninja" ] ||
    quietly "$windows_build/configure.log" cmake --preset windows-debug -B "$windows_build" \
      -DCMAKE_CXX_FLAGS_DEBUG='-O1 -DNDEBUG' -DMARIGOLD_PRECOMPILE=ON
  quietly "$windows_build/build.log" cmake --build "$windows_build"
  flock -u 9
  exec 9>&-
}

# shellcheck disable=SC2154
build=$top/build/release
windows_build=$top/build/windows-tested

prepare() {
  wanted=$1
  install_missing
  case $wanted in
    windows) build_windows ;;
    programs | shop | tests) build_release ;;
  esac
}
