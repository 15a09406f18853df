# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
################################################################################
#
# libzvos
#
################################################################################

# The archive is what "scripts/package --source" makes. Its place is the product's: LIBZVOS_SITE in the external tree's
# external.mk, or LIBZVOS_OVERRIDE_SRCDIR in local.mk for a source tree.
LIBZVOS_VERSION = 1.1.0
LIBZVOS_SOURCE = zvos-$(LIBZVOS_VERSION).tar.gz
LIBZVOS_SITE ?= $(TOPDIR)/../archives
LIBZVOS_SITE_METHOD ?= file
LIBZVOS_LICENSE = Apache-2.0
LIBZVOS_LICENSE_FILES = LICENSE
LIBZVOS_INSTALL_STAGING = YES
LIBZVOS_SUPPORTS_IN_SOURCE_BUILD = NO

# Buildroot strips what goes to the target, and keeps what zvos crash needs in the staging folder.
LIBZVOS_CONF_OPTS = \
	-DZVOS_BUILD_TESTS=OFF \
	-DZVOS_STRIP=OFF \
	-DZVOS_BUILD_TOOLS=$(if $(BR2_PACKAGE_LIBZVOS_TOOL),ON,OFF)

$(eval $(cmake-package))
