#pragma once

#include "json_value.h"

/// What a client can ask of card 70's capture stream, as its plugin says.
struct card_limits {
    struct range {
        const char* name;
        const char* unit;
        unsigned int min;
        unsigned int max;
    };
    bool known = false;
    range ranges[5] = {};
    bool s16 = false;
    bool s32 = false;
};

card_limits read_card_limits();
void print_limits(const card_limits& limits);
json_value limits_json(const card_limits& limits);
