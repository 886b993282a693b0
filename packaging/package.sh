# shellcheck shell=bash
# Sourced by ./dev: the source tarball, the Debian packages made of it, and both tried as strangers get them.
version=$(sed -n 's/^project(libostrel VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
packages=$PWD/build/package
tarball=$packages/libostrel-$version.tar.gz
sbom=$packages/libostrel-$version.spdx
recipe=packaging/yocto/libostrel_$version.bb

# Seconds since 1970 of the last change. What was unpacked from a tarball has that time.
source_date() {
    [ -e .git ] && git log -1 --format=%ct 2>/dev/null && return
    stat -c %Y CMakeLists.txt
}

# The same bytes from a checkout and from what an earlier tarball held.
pack_sources() {
    sources '*' | sed 's,^\./,,' | LC_ALL=C sort |
        tar --create --files-from=- --transform="s,^,libostrel-$version/," --mtime="@$(source_date)" \
            --owner=0 --group=0 --numeric-owner --mode=u+rw,go=rX | gzip -9n >"$tarball"
}

# Lists what the tarball holds, as SPDX. Time and name come from the sources too.
write_sbom() {
    local folder
    folder=$(mktemp -d)
    tar -xf "$tarball" -C "$folder"
    reuse --root "$folder/libostrel-$version" spdx |
        sed -e "s/^Created: .*/Created: $(date -u -d "@$(source_date)" +%FT%TZ)/" \
            -e "s/^\(DocumentNamespace: .*-v2.1-\).*/\1$(sha256sum <"$tarball" | cut -c 1-64)/" >"$sbom"
    rm -r "$folder"
}

package_source() {
    [ -e "$recipe" ] || refuse "the version is $version, and $recipe is not there"
    need reuse
    say "packing the sources"
    mkdir -p "$packages"
    pack_sources
    write_sbom
    echo "$tarball"
    echo "$sbom"
}

# Makes WORK/libostrel-VERSION a Debian source tree: packaging/debian at the root of the sources, with the files that
# depend on the version.
stage() {
    local work=$1 debian=$1/libostrel-$version/debian
    rm -rf "$work"
    mkdir -p "$work"
    tar -xf "$tarball" -C "$work"
    cp "$tarball" "$work/libostrel_$version.orig.tar.gz"
    cp -r packaging/debian "$debian"
    cp "$sbom" "$debian"
    printf 'libostrel (%s-1) unstable; urgency=medium\n\n  * CHANGELOG.md tells what changed.\n\n -- %s  %s\n' \
        "$version" "$(sed -n 's/^Maintainer: //p' "$debian/control")" "$(date -uR -d "@$(source_date)")" \
        >"$debian/changelog"
}

# Builds in WORK with further options of dpkg-buildpackage.
build_packages() {
    local work=$1
    shift
    if ! (cd "$work/libostrel-$version" && DEB_BUILD_OPTIONS="nocheck parallel=$(nproc)" dpkg-buildpackage -us -uc "$@") \
        >"$work/build.log" 2>&1; then
        tail -n 60 "$work/build.log"
        return 1
    fi
    lintian --allow-root --fail-on error,warning --suppress-tags-from-file packaging/lintian-accepted "$work"/*.changes
    say "$(lintian --version) has nothing to say"
}

# Unpacks WORK's packages over what WORK/root has, then builds products against that and runs them.
try_packages() {
    local work=$1 triplet=$2 file
    shift 2
    for file in "$work"/*.deb; do
        dpkg-deb -x "$file" "$work/root"
    done
    cmake -DROOT="$work/root" -DWORK_DIR="$work/try" -DVERSION="$version" -DLIBRARY_DIR="lib/$triplet" "$@" \
        -P cmake/TestDebian.cmake
    say "products build and run against the packages"
    ls "$work"/*.deb
}

package_native() {
    local work
    work=$packages/$(dpkg --print-architecture)
    need doxygen doxygen-awesome-css python3
    package_source
    say "building the packages"
    stage "$work"
    build_packages "$work"
    try_packages "$work" "$(dpkg-architecture -qDEB_HOST_MULTIARCH)"
}

package_cross() {
    local architecture=$1 triplet=$2 emulator=$3 work=$packages/$1 sysroot=$PWD/build/sysroot/$1
    need "g++-$triplet" qemu-user
    need_target_expat "$architecture"
    package_source
    say "building the packages for $architecture"
    stage "$work"
    # This machine's package database knows nothing of the target's expat, and the rest by the names of cross packages.
    {
        echo "libexpat 1 libexpat1"
        sed "s/:$architecture\|-$architecture-cross//g" /var/lib/dpkg/info/lib{c6,gcc-s1,stdc++6}-"$architecture"-cross.shlibs
    } >"$work/libostrel-$version/debian/shlibs.local"
    CMAKE_PREFIX_PATH=$sysroot/usr OSTREL_TARGET_LIBRARIES="$sysroot/usr/lib/$triplet /usr/$triplet/lib" \
        build_packages "$work" -d -B -a "$architecture"
    cp -a "$sysroot" "$work/root"
    CC=$triplet-gcc CXX=$triplet-g++ LDFLAGS=-Wl,-rpath-link,$work/root/usr/lib/$triplet \
        try_packages "$work" "$triplet" "-DEMULATOR=$emulator;-L;/usr/$triplet"
}

# Builds with the recipe's configure line as far as that goes without bitbake: in a cross build for armhf.
package_yocto() {
    local work=$packages/yocto options
    need g++-arm-linux-gnueabihf
    need_target_expat armhf
    package_source
    say "building by the Yocto recipe's configure line"
    rm -rf "$work"
    mkdir -p "$work"
    tar -xf "$tarball" -C "$work" --strip-components=1
    read -ra options < <(sed -n 's/^EXTRA_OECMAKE = "\(.*\)"$/\1/p' "$recipe")
    cmake -S "$work" -B "$work/build" -G Ninja --toolchain "$PWD/cmake/armhf.cmake" --log-level=WARNING \
        -DCMAKE_INSTALL_PREFIX=/usr "${options[@]}"
    cmake --build "$work/build"
    DESTDIR=$work/image cmake --install "$work/build" | grep -v /include/
}

package() {
    case ${1:-} in
    source)
        package_source
        return
        ;;
    "" | armhf | arm64 | yocto) ;;
    *) refuse "package takes nothing (for this machine), armhf, arm64, yocto or source (the tarball alone)" ;;
    esac
    need_compiler
    [ "${1:-}" = yocto ] || need build-essential debhelper dpkg-dev lintian pkg-config
    case ${1:-} in
    armhf) package_cross armhf arm-linux-gnueabihf qemu-arm ;;
    arm64) package_cross arm64 aarch64-linux-gnu qemu-aarch64 ;;
    yocto) package_yocto ;;
    *) package_native ;;
    esac
}

# Builds the tarball in two folders, as one does without git, and compares what came out.
reproduce() {
    need_compiler
    package_source
    local folder first=$PWD/build/reproduce/first second=$PWD/build/reproduce/the/second/one file
    rm -rf build/reproduce
    for folder in "$first" "$second"; do
        say "building in $folder"
        mkdir -p "$folder"
        tar -xf "$tarball" -C "$folder" --strip-components=1
        cmake -S "$folder" -B "$folder/build/plain" -G Ninja -DOSTREL_STATIC=ON -DOSTREL_TESTS=OFF \
            -DOSTREL_EXAMPLES=OFF -DOSTREL_TOOLS=OFF --log-level=WARNING
        CCACHE_DISABLE=1 cmake --build "$folder/build/plain"
    done
    for file in "libostrel.so.$version" libostrel.a; do
        cmp {"$first","$second"}"/build/plain/$file"
    done
    "$second/dev" package source
    cmp "$tarball" "$second/build/package/$(basename "$tarball")"
    cmp "$sbom" "$second/build/package/$(basename "$sbom")"
    say "libraries, tarball and list of files are the same bytes"
}
