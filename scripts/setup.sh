# shellcheck shell=bash
# What run.sh and test.sh share: installing packages, configuring and building. Sourced from the root of the checkout.

fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# install_packages GROUP...: installs the packages of scripts/packages.txt in these groups that are missing. One whose
# command is there is not missing: it came from elsewhere, and Debian's might not go with it.
install_packages() {
  command -v dpkg-query >/dev/null || fail "this is no Debian system: install what scripts/packages.txt names by hand"
  local wanted missing as_root
  wanted=$(for group in "$@"; do awk -v group="$group" '$1 == group { print $2 }' scripts/packages.txt; done | sort -u)
  # shellcheck disable=SC2086
  missing=$(comm -23 <(printf '%s\n' $wanted) \
    <(dpkg-query -W -f='${binary:Package} ${db:Status-Status}\n' |
      awk '$2 == "installed" { sub(/:.*/, "", $1); print $1 }' | sort -u) |
    while read -r package; do command -v "$package" >/dev/null || echo "$package"; done)
  [ -n "$missing" ] || return 0

  as_root=''
  if [ "$(id -u)" -ne 0 ]; then
    # shellcheck disable=SC2086
    command -v sudo >/dev/null ||
      fail "these packages are missing, and there is neither root nor sudo to install them:" $missing
    as_root=sudo
  fi
  # shellcheck disable=SC2086
  echo "installing" $missing
  $as_root apt-get -qq update || fail "apt-get update failed"
  # shellcheck disable=SC2086
  $as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends install $missing >/dev/null ||
    fail "apt-get could not install:" $missing
}

# build PRESET [TARGET...]: configures and builds the tree of that preset. With targets, only these, and without the packages
# that the tests need; otherwise everything.
build() {
  local preset=$1 tests=ON output
  shift
  [ $# -eq 0 ] || tests=OFF
  output=$(cmake --preset "$preset" -D OBSERVER_TESTS=$tests 2>&1) || {
    printf '%s\n' "$output" >&2
    fail "cmake --preset $preset failed"
  }
  cmake --build --preset "$preset" ${1:+--target "$@"} || fail "the build of preset $preset failed"
}
