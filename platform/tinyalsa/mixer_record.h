#pragma once

#include <tinyalsa/mixer.h>
#include <tinyalsa/plugin.h>

#include <string>
#include <vector>

#include "card_node.h"

/// One control of an open mixer: the plugin's slot and its index, which is its numid.
struct mixer_ctl {
    struct mixer* owner = nullptr;
    unsigned int numid = 0;
    snd_control* slot = nullptr;
};

/// An open plugin mixer.
struct mixer {
    card_node node;
    const mixer_plugin_ops* ops = nullptr;
    mixer_plugin* plugin = nullptr;
    std::vector<mixer_ctl> controls;
    std::string name;
};
