# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
SUMMARY = "Operating-system layer for networked media devices"
DESCRIPTION = "Locks, threads that report their own crash, clocks, files, pipes, sockets, network interfaces, with a \
log library and a program for engineers in the field."
SECTION = "libs"
LICENSE = "Apache-2.0"
LIC_FILES_CHKSUM = "file://LICENSE;md5=3b83ef96387f14655fc854ddc3c6bd57"

# The archive is what "scripts/package --source" makes; it lies where the product keeps its archives. One of another
# version than this file's is taken by PV:pn-zvos in the product's configuration.
SRC_URI = "file://zvos-${PV}.tar.gz"
FILESEXTRAPATHS:prepend := "${ZVOS_ARCHIVES}:"

inherit cmake pkgconfig

EXTRA_OECMAKE = "-DZVOS_BUILD_TESTS=OFF -DZVOS_STRIP=OFF"

# 64-bit times are the library's own affair; its interface has times of two longs. The distribution looks for those.
GLIBC_64BIT_TIME_FLAGS = ""
INSANE_SKIP += "32bit-time"

# With archives the CMake package names them, and is refused where they are not: then they come with it.
PACKAGECONFIG ??= ""
PACKAGECONFIG[static] = "-DZVOS_STATIC=ON,-DZVOS_STATIC=OFF"
RDEPENDS:${PN}-dev += "${@bb.utils.contains('PACKAGECONFIG', 'static', '${PN}-staticdev', '', d)}"

PACKAGES =+ "libzvlog libzvos"
FILES:libzvlog = "${libdir}/libzvLog.so.*"
FILES:libzvos = "${libdir}/libzvOS.so.*"
FILES:${PN} = "${bindir}/zvos ${datadir}/bash-completion"
FILES:${PN}-dev += "${libdir}/cmake"

# Crash reports lead to lines of the source by the packages -dbg, which have the build ids.
