#pragma once

// What clients of tinyalsa open: `tinycap -D 70 -d 70`, `tinymix -D 70`.
inline constexpr unsigned int kZelVirtualCard = 70;
inline constexpr unsigned int kZelVirtualDevice = 70;
