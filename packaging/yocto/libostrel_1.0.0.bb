# Tried only so far: the same configure line in a cross build for armhf, beside the target's expat. Not by bitbake.
SUMMARY = "Utility library for embedded Linux products"
SECTION = "libs"
# No licence has been chosen by the owner of this library yet; this is the build system's word for that.
LICENSE = "CLOSED"

DEPENDS = "expat"
# The tarball is made by "./dev package source" and laid into a folder "files" beside this recipe.
SRC_URI = "file://libostrel-${PV}.tar.gz"
S = "${WORKDIR}/libostrel-${PV}"

inherit cmake

# No build type, so that the distribution's flags decide on optimization. The static library is for -staticdev.
EXTRA_OECMAKE = "-DCMAKE_BUILD_TYPE=None -DOSTREL_HARDENING=ON -DOSTREL_STATIC=ON -DOSTREL_TESTS=OFF -DOSTREL_EXAMPLES=OFF"

PACKAGES =+ "${PN}-tools"
FILES:${PN}-tools = "${bindir} ${datadir}/bash-completion"
FILES:${PN}-dev += "${datadir}/gdb"
