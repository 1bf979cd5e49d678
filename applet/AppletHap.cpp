#include "AppletHap.h"

const unsigned char* const rawHap = rawHapData;
const uint32_t& rawHapSize = rawHapDataSizeValue;
const unsigned char* const appletIcon = appletIconData;
const uint32_t& appletIconSize = appletIconSizeValue;
