#!/usr/bin/env bash
# Installs, from Debian's archive, whatever a fresh Debian 12 machine lacks to build, test,
# fuzz, package and run the demo. Installs nothing when everything is present. The GUI tests
# run the examples on a virtual display (xvfb, with xauth for xvfb-run) under a small window
# manager (openbox), drive them with xdotool, start an installed one from its launcher (gio, in
# libglib2.0-bin), and draw their text in DejaVu. The QML module and
# the Qt Quick example need Qt Quick with its Controls 2, Layouts and Window modules. The media
# tracker's tests and the examples' players play clips that GStreamer makes (videotestsrc,
# Theora, Ogg) through Qt Multimedia, in C++ and in QML. stress-ng keeps the machine busy while
# the suite is run again and again, which is how a test that fails by chance is found. Everything builds and runs against Qt 6
# as well, with the same modules of Qt 6 (and Qt 5 Compatibility for QRegExp).
# "scripts/install-deps.sh docs" adds doxygen, for the API reference (cmake target docs).
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config
  qtbase5-dev libcurl4-openssl-dev libsqlite3-dev libxml2-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcpp-httplib-dev
  faketime libfaketime sqlite3 openssl
  clang-14 libclang-rt-14-dev
  chromium chromium-driver python3-selenium
  dpkg-dev file
  xvfb xauth xdotool openbox fonts-dejavu-core libglib2.0-bin
  qtdeclarative5-dev qml-module-qtquick2 qml-module-qtquick-window2 qml-module-qtquick-layouts
  qml-module-qtquick-controls2 qml-module-qtquick-templates2
  qtmultimedia5-dev qml-module-qtmultimedia libqt5multimedia5-plugins
  gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good
  stress-ng
  qt6-base-dev qt6-5compat-dev qt6-declarative-dev qt6-multimedia-dev qml6-module-qtquick
  qml6-module-qtquick-controls qml6-module-qtquick-layouts qml6-module-qtquick-window
  qml6-module-qtquick-templates qml6-module-qtmultimedia qml6-module-qtqml-workerscript
  qt6-qpa-plugins
)
if [ "${1:-}" = docs ]; then
  packages+=(doxygen)
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
