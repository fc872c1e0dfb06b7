#pragma once

#include <tinyalsa/plugin.h>

#include <string>

/// One plugin card's PCM device or mixer, as the card definitions in libsndcardparser.so describe
/// it, with its plugin loaded. Owner of both libraries' handles and the card's node.
class card_node {
  public:
    enum class kind { pcm, mixer };

    card_node() = default;
    ~card_node() { unload(); }
    card_node(const card_node&) = delete;
    card_node& operator=(const card_node&) = delete;

    /// Finds the definition and loads its plugin. False with `error()` set when there is none.
    bool load(kind what, unsigned int card, unsigned int device);
    void unload();

    /// The plugin's table: pcm_plugin_ops or mixer_plugin_ops.
    const void* ops() const { return table; }
    /// Whether the definition offers "capture" or "playback".
    bool offers(const char* direction) const;
    std::string name() const;
    const std::string& error() const { return message; }

  private:
    bool fail(std::string text);

    void* parser = nullptr;
    void* plugin = nullptr;
    const snd_node_ops* definitions = nullptr;
    void* card_handle = nullptr;
    void* node = nullptr;
    const void* table = nullptr;
    std::string message;
};
