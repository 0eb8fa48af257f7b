// SPDX-License-Identifier: Apache-2.0
#include "core/base/capi/ovra.h"

tagSimpleProfilerData sSiProData = {};
tagSimpleProfilerData *pSiProData = nullptr;
