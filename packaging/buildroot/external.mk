# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
include $(sort $(wildcard $(BR2_EXTERNAL_ZVOS_PATH)/*/*.mk))
