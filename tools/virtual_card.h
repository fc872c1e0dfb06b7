#pragma once

// The card that the library serves, and its capture device.
inline constexpr unsigned int kVirtualCard = 70;
inline constexpr unsigned int kVirtualDevice = 70;
