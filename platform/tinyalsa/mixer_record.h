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

/// An open plugin mixer, owner of the plugin's record.
struct mixer {
    mixer() = default;
    /// The plugin stops calling back and takes the record, its lock and its descriptor away.
    ~mixer() {
        if (plugin != nullptr) {
            ops->close(&plugin);
        }
    }
    mixer(const mixer&) = delete;
    mixer& operator=(const mixer&) = delete;

    card_node node;
    const mixer_plugin_ops* ops = nullptr;
    mixer_plugin* plugin = nullptr;
    std::vector<mixer_ctl> controls;
    std::string name;
};
