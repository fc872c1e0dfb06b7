#pragma once

#include <tinyalsa/pcm.h>

/// What the plugin keeps for one handle, behind the record's `priv`.
struct zel_pcm_handle {
    pcm_config stConfig{};  ///< the client's stream; all zero until hw_params
    bool bOpened = false;   ///< this handle's hw_params opened the converter
    bool bStarted = false;  ///< this handle's stream has been started, by start or by a read
};
