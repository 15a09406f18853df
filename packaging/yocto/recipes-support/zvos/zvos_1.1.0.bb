# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
SUMMARY = "Operating-system layer for networked media devices"
DESCRIPTION = "Locks, threads that report their own crash, clocks, files, pipes, sockets, network interfaces, with a \
log library and a program for engineers in the field."
SECTION = "libs"
LICENSE = "Apache-2.0"
LIC_FILES_CHKSUM = "file://LICENSE;md5=3b83ef96387f14655fc854ddc3c6bd57"

# The archive is what "scripts/package --source" makes; it lies where the product keeps its archives.
SRC_URI = "file://zvos-${PV}.tar.gz"
FILESEXTRAPATHS:prepend := "${ZVOS_ARCHIVES}:"

inherit cmake pkgconfig

# 64-bit times are the library's own affair; its interface has times of two longs.
EXTRA_OECMAKE = "-DZVOS_BUILD_TESTS=OFF -DZVOS_STRIP=OFF -DZVOS_STATIC=ON"
GLIBC_64BIT_TIME_FLAGS = ""

PACKAGES =+ "libzvlog libzvos"
FILES:libzvlog = "${libdir}/libzvLog.so.*"
FILES:libzvos = "${libdir}/libzvOS.so.*"
FILES:${PN} = "${bindir}/zvos ${datadir}/bash-completion"
FILES:${PN}-dev += "${libdir}/cmake"

# Crash reports lead to lines of the source by the packages -dbg, which have the build ids.
