# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
################################################################################
#
# libzvos
#
################################################################################

# The archive is what "scripts/package --source" makes; the configuration says its version and its folder. A source tree
# takes its place by LIBZVOS_OVERRIDE_SRCDIR in local.mk, as with any package.
LIBZVOS_VERSION = $(call qstrip,$(BR2_PACKAGE_LIBZVOS_VERSION))
LIBZVOS_SOURCE = zvos-$(LIBZVOS_VERSION).tar.gz
LIBZVOS_SITE = $(call qstrip,$(BR2_PACKAGE_LIBZVOS_SITE))
LIBZVOS_SITE_METHOD = file
LIBZVOS_LICENSE = Apache-2.0
LIBZVOS_LICENSE_FILES = LICENSE
LIBZVOS_INSTALL_STAGING = YES
LIBZVOS_SUPPORTS_IN_SOURCE_BUILD = NO

# Whoever makes the archive knows its checksum; libzvos.hash is inside of it.
BR_NO_CHECK_HASH_FOR += $(LIBZVOS_SOURCE)

# Buildroot strips what goes to the target, and keeps in the staging folder what zvos crash needs, as far as it was
# compiled with it (BR2_ENABLE_DEBUG).
LIBZVOS_CONF_OPTS = \
	-DZVOS_BUILD_TESTS=OFF \
	-DZVOS_STRIP=OFF \
	-DZVOS_BUILD_TOOLS=$(if $(BR2_PACKAGE_LIBZVOS_TOOL),ON,OFF)

$(eval $(cmake-package))
