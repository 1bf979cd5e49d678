// The design image and the icon embedded in the applet library.
#ifndef APPLET_HAP_H
#define APPLET_HAP_H

#include <cstdint>

extern "C" {
extern const unsigned char rawHapData[];
extern const uint32_t rawHapDataSizeValue;
extern const unsigned char appletIconData[];
extern const uint32_t appletIconSizeValue;
}

// The design image as handed to the design runtime.
extern const unsigned char* const rawHap;
extern const uint32_t& rawHapSize;
// The applet icon (PNG).
extern const unsigned char* const appletIcon;
extern const uint32_t& appletIconSize;

#endif
