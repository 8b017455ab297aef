#!/usr/bin/env bash
# Takes the library as an application developer does: installed and found by CMake or by
# pkg-config, as the shared library, and from its Debian packages. One step per call; the steps
# share KEO_WORK. KEO_SOURCE, KEO_BUILD (the static build), KEO_QT_MAJOR (5 or 6), KEO_COLLECTOR
# and, for side_by_side, KEO_COMPARE_BUILD (a Qt 5 build whose own package steps ran) come
# from CTest.
set -euo pipefail
work=$KEO_WORK
mkdir -p "$work"
static=$work/static shared=$work/shared root=$work/debroot
major=${KEO_QT_MAJOR:-5}
# The names a Qt 6 build installs under, beside the Qt 5 build's.
if [ "$major" = 6 ]; then
    suffix=-qt6 libpkg=libkeomobile-qt6-4 qmlpkg=qml6-module-keomobile qmldir=lib/qt6/qml
else
    suffix="" libpkg=libkeomobile4 qmlpkg=qml-module-keomobile qmldir=lib/qml
fi

fail() { echo "FAIL: $*" >&2; exit 1; }
# Whether a command's output holds a line that grep matches, read to its end: grep -q leaves at
# the first match, and a command still writing then dies of SIGPIPE, a failure under pipefail.
holds() { grep "$@" >/dev/null; }

# Runs a built consumer in a fresh application directory against the collector program: its
# launch and its screen must arrive, the screen with the context it set through the library.
deliver() {
    local run; run=$(mktemp -d "$work/run.XXXXXX")
    mkdir -p "$run/data" "$run/app/native"
    "$KEO_COLLECTOR" --json --count 2 --timeout 60 >"$run/hits" &
    local collector=$! server=""
    for _ in $(seq 100); do
        server=$(sed -n 's/^listening on //p' "$run/hits") && [ -n "$server" ] && break
        sleep 0.1
    done
    printf '{"analytics": {"rsids": "pkg", "server": "%s", "offlineEnabled": true}}' \
        "$server" >"$run/app/native/KEOMobileConfig.json"
    # A consumer that packages its configuration ignores the directory: the collector's is then
    # an administrator's, and its sandbox lies in a fresh home.
    local admin="$run/etc/KEOMobile/KEO Console Example"
    mkdir -p "$admin" "$run/home"
    cp "$run/app/native/KEOMobileConfig.json" "$admin/"
    (cd "$run" && HOME=$run/home XDG_CONFIG_DIRS=$run/etc exec "$@" "Installed Home" 60) &
    local app=$!
    wait "$collector"
    kill "$app" 2>/dev/null || true
    wait "$app" || true
    for want in '["pev2","KEOINTERNAL:Lifecycle"]' '["pageName","Installed Home"]' \
        '"shop":{"children":{"channel":{"value":"console"}}}'; do
        grep -qF "$want" "$run/hits" || { cat "$run/hits"; fail "no hit with $want"; }
    done
}

# Configures, builds and runs the console example against a prefix, for Qt major $3 (this
# build's by default).
cmake_consumer() {
    rm -rf "$work/$1"
    cmake -S "$KEO_SOURCE/examples/console" -B "$work/$1" -DCMAKE_PREFIX_PATH="$2" \
        -DKEOMOBILE_QT_MAJOR="${3:-$major}" >/dev/null
    cmake --build "$work/$1"
    deliver "$work/$1/keo-console-example"
}

# Builds the console example with the flags of the prefix's keomobile.pc alone, and runs it.
pkg_config_consumer() {
    local pc; pc=$(dirname "$(find "$2" -name "keomobile$suffix.pc")")
    # shellcheck disable=SC2046
    g++ -std=c++17 -o "$work/$1" "$KEO_SOURCE/examples/console/main.cpp" \
        $(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs "keomobile$suffix")
    LD_LIBRARY_PATH=$(dirname "$(find "$2" -name "libkeomobile$suffix.so*" | head -1)") \
        deliver "$work/$1"
}

case $1 in
static_install)
    rm -rf "$static"
    cmake --install "$KEO_BUILD" --prefix "$static" >/dev/null
    ;;
find_package) cmake_consumer fp-static "$static" ;;
pkg_config) pkg_config_consumer pc-static "$static" ;;
shared_build)
    # The one shared build, installed, packaged and unpacked as the later steps need it.
    rm -rf "$shared" "$shared-prefix" "$root"
    cmake -S "$KEO_SOURCE" -B "$shared" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DBUILD_SHARED_LIBS=ON -DKEOMOBILE_BUILD_TOOLS=OFF -DKEOMOBILE_BUILD_EXAMPLES=OFF \
        -DKEOMOBILE_WERROR=ON -DKEOMOBILE_QT_MAJOR="$major" -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
    cmake --build "$shared" -j2
    cmake --install "$shared" --prefix "$shared-prefix" >/dev/null
    (cd "$shared" && cpack -G DEB >/dev/null)
    for deb in "$shared"/*.deb; do dpkg-deb -x "$deb" "$root"; done
    ;;
shared_abi)
    lib=$shared/libkeomobile$suffix.so.4.0.0
    readelf -d "$lib" | holds -F "Library soname: [libkeomobile$suffix.so.4]" || fail "soname"
    # Every exported symbol belongs to the public interface or a platform call hosts make; the
    # platform's C calls, which only the library makes, stay hidden. Weak instances of the
    # standard library's templates (Qt 6's QMap is a std::map) keep the default visibility that
    # libstdc++ gives them, so that every library in the process shares one of each.
    public='KEOMobile|KEOMediaAnalytics|KEOMediaTextSetting|KEOMediaState|bb::cascades::Application'
    extra=$(nm -DC --defined-only "$lib" | grep -vE '^[0-9a-f]+ W std::' | cut -d' ' -f3- |
        grep -vE "^(($public|desktop)::|(typeinfo|typeinfo name|vtable) for ($public)$)" || true)
    [ -z "$extra" ] || fail "exported outside the public interface:"$'\n'"$extra"
    ;;
shared_consumer)
    cmake_consumer fp-shared "$shared-prefix"
    readelf -d "$work/fp-shared/keo-console-example" | holds -F "[libkeomobile$suffix.so.4]" ||
        fail "not shared"
    ;;
deb)
    depends=$(dpkg-deb -f "$shared/${libpkg}"_*.deb Depends)
    echo "$libpkg Depends: $depends"
    wants=(libqt5core5a)
    [ "$major" = 6 ] && wants=(libqt6core6 libqt6core5compat6)
    for want in "${wants[@]}" libcurl4 libsqlite3-0 libxml2; do
        [[ ", $depends" == *", $want "* ]] || fail "Depends lacks $want"
    done
    cmake_consumer fp-deb "$root/usr"
    pkg_config_consumer pc-deb "$root/usr"
    ;;
widgets_example)
    [ -d "$KEO_SOURCE/examples/widgets" ] || { echo "skipped: no examples/widgets"; exit 77; }
    rm -rf "$work/widgets"
    cmake -S "$KEO_SOURCE/examples/widgets" -B "$work/widgets" \
        -DCMAKE_PREFIX_PATH="$root/usr" -DKEOMOBILE_QT_MAJOR="$major" >/dev/null
    cmake --build "$work/widgets"
    ;;
qml_module)
    # The module's own test against the module installed in a prefix and in the unpacked
    # packages; the Qt Quick example built against the packages finds it there by itself.
    arch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
    for dir in "$static/$qmldir" "$root/usr/lib/$arch/qt$major/qml"; do
        [ -f "$dir/KEOMobile/qmldir" ] || fail "no KEOMobile/qmldir in $dir"
        KEO_QML_IMPORT_PATH=$dir "$KEO_BUILD/tests/test_quick_module" --gtest_brief=1
    done
    depends=$(dpkg-deb -f "$shared/$qmlpkg"_*.deb Depends)
    for want in "$libpkg" "libqt${major}quick${major}"; do
        [[ ", $depends" == *", $want "* ]] || fail "$qmlpkg Depends lacks $want"
    done
    rm -rf "$work/quick"
    cmake -S "$KEO_SOURCE/examples/quick" -B "$work/quick" -DCMAKE_PREFIX_PATH="$root/usr" \
        -DKEOMOBILE_QT_MAJOR="$major" >/dev/null
    cmake --build "$work/quick"
    strings -el "$work/quick/keo-quick-example" | holds -xF "$root/usr/lib/$arch/qt$major/qml" ||
        fail "the example looks for the module elsewhere"
    ;;
side_by_side)
    # The Qt 5 build and this Qt 6 one in one prefix: no file of one replaces a file of the
    # other, and the console example builds and runs against each. Their Debian package sets
    # share no file either, so that one system holds both.
    both=$work/both qt5=$KEO_COMPARE_BUILD
    rm -rf "$both"
    cmake --install "$qt5" --prefix "$both" >/dev/null
    files() { (cd "$1" && find . -type f | sort); }
    common=$(comm -12 <(files "$both") <(files "$static"))
    [ -z "$common" ] || fail "files of both builds:"$'\n'"$common"
    cmake --install "$KEO_BUILD" --prefix "$both" >/dev/null
    cmake_consumer both-qt5 "$both" 5
    cmake_consumer both-qt6 "$both" 6
    ldd "$work/both-qt5/keo-console-example" | holds libQt5Core || fail "Qt 5 example"
    ldd "$work/both-qt6/keo-console-example" | holds libQt6Core || fail "Qt 6 example"
    shared_files() { for deb in "$@"; do dpkg-deb -c "$deb"; done | grep -v '^d' |
        awk '{print $NF}' | sort; }
    common=$(comm -12 <(shared_files "$qt5"/tests/package/shared/*.deb) \
        <(shared_files "$shared"/*.deb))
    [ -z "$common" ] || fail "files in both package sets:"$'\n'"$common"
    ;;
*) fail "unknown step $1" ;;
esac
