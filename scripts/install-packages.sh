#!/usr/bin/env bash
# Installs every Debian 12 package that building, testing and benchmarking needs; does nothing when all are there.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache mold git ca-certificates
  clang-16 libclang-rt-16-dev llvm-16 clang-format clang-tidy
  python3 python3-yaml
  libgtest-dev libgmock-dev libbenchmark-dev librapidcheck-dev
  libboost-filesystem-dev libboost-thread-dev libboost-dev
  libfmt-dev libspdlog-dev libsqlite3-dev libyaml-cpp-dev libyaml-dev pkg-config libmsgpack-cxx-dev nlohmann-json3-dev libcli11-dev sqlite3
  protobuf-compiler libprotobuf-dev
  prometheus-cpp-dev zlib1g-dev python3-prometheus-client
  iproute2 nftables frr tshark shellcheck
  libboost-math-dev libjs-chart.js chromium chromium-driver python3-selenium
  gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good
  libnats-dev liblz4-dev nats-server
  dnsmasq-base kea-dhcp4-server kea-dhcp6-server kea-admin radvd
  libtins-dev
)
# It gets axe-core for the test of the report. Node.js from elsewhere brings its own npm, with which Debian's conflicts.
command -v npm >/dev/null || packages+=(npm)

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
done
[ "${#missing[@]}" -eq 0 ] && exit 0

as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
echo "Installing: ${missing[*]}"
"${as_root[@]}" apt-get update -qq
# Debian starts these servers with their packages, and at each boot. Ours are started by those who need them.
services=()
for service in nats-server kea-dhcp4-server kea-dhcp6-server radvd; do
  [[ " ${missing[*]} " != *" $service "* ]] || services+=("$service.service")
done
if [ "${#services[@]}" -gt 0 ] && [ -d /run/systemd/system ]; then
  "${as_root[@]}" systemctl mask --quiet --runtime "${services[@]}"
  trap '"${as_root[@]}" systemctl unmask --quiet --runtime "${services[@]}"; "${as_root[@]}" systemctl disable --quiet "${services[@]}"' EXIT
fi
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
