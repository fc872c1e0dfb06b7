// Our tinyalsa layer's mixers, over a plugin card that does what a test wants.

#include <gtest/gtest.h>
#include <tinyalsa/mixer.h>
#include <tinyalsa/plugin.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "card_node.h"

namespace {

struct {
    std::vector<snd_control> slots;
    mixer_event_callback callback = nullptr;
    /// What the card does when its event is read.
    std::function<ssize_t(mixer_plugin*)> read_event;
    int records = 0;
} g_card;

int open(mixer_plugin** plugin, unsigned int /*card*/) {
    *plugin = static_cast<mixer_plugin*>(std::calloc(1, sizeof(mixer_plugin)));
    (*plugin)->controls = g_card.slots.data();
    (*plugin)->num_controls = static_cast<unsigned int>(g_card.slots.size());
    ++g_card.records;
    return 0;
}

void close(mixer_plugin** plugin) {
    std::free(*plugin);
    *plugin = nullptr;
    --g_card.records;
    errno = 0;
}

int subscribe_events(mixer_plugin* /*plugin*/, mixer_event_callback callback) {
    g_card.callback = callback;
    return 0;
}

ssize_t read_event(mixer_plugin* plugin, snd_ctl_event* /*event*/, std::size_t /*size*/) {
    return g_card.read_event(plugin);
}

constexpr mixer_plugin_ops kOps{open, close, subscribe_events, read_event};

/// Every element is its index.
int get(mixer_plugin* /*plugin*/, snd_control* control, snd_ctl_elem_value* value) {
    if (control->type == SNDRV_CTL_ELEM_TYPE_INTEGER) {
        std::iota(std::begin(value->value.integer.value), std::end(value->value.integer.value), 0);
    } else {
        std::iota(std::begin(value->value.bytes.data), std::end(value->value.bytes.data),
                  static_cast<unsigned char>(0));
    }
    return 0;
}

int put(mixer_plugin* /*plugin*/, snd_control* /*control*/, snd_ctl_elem_value* /*value*/) {
    return 0;
}

snd_value_int g_pair{2, 0, 100, 1};
snd_value_int g_many{1000, 0, 2000, 1};
snd_value_bytes g_blob{600};
constexpr unsigned int kAccess = SNDRV_CTL_ELEM_ACCESS_READWRITE;

snd_control slot(snd_ctl_elem_type_t type, void* value, unsigned int access = kAccess) {
    return {SNDRV_CTL_ELEM_IFACE_MIXER, access, "name", type, value, get, put, 0, nullptr};
}

class tinyalsa_mixer : public testing::Test {
  protected:
    void SetUp() override {
        g_card = {};
        g_card.slots = {slot(SNDRV_CTL_ELEM_TYPE_INTEGER, &g_pair,
                             kAccess | SNDRV_CTL_ELEM_ACCESS_TLV_READWRITE),
                        slot(SNDRV_CTL_ELEM_TYPE_INTEGER, &g_many),
                        slot(SNDRV_CTL_ELEM_TYPE_BYTES, &g_blob)};
        opened = mixer_open(0);
        ASSERT_NE(opened, nullptr);
    }
    void TearDown() override {
        mixer_close(opened);
        EXPECT_EQ(g_card.records, 0);
    }
    mixer* opened = nullptr;
};

TEST_F(tinyalsa_mixer, only_a_bytes_control_has_its_values_in_tlvs) {
    mixer_ctl* decibels = mixer_get_ctl(opened, 0);
    long got[2] = {};
    EXPECT_EQ(mixer_ctl_get_array(decibels, got, 2), 0);
    EXPECT_EQ(got[1], 1);
    EXPECT_EQ(mixer_ctl_set_array(decibels, got, 2), 0);
    EXPECT_EQ(mixer_get_ctl(opened, 3), nullptr) << "there are three";
}

TEST_F(tinyalsa_mixer, no_more_elements_than_a_value_holds_are_moved) {
    std::vector<unsigned char> memory(600 * sizeof(long));
    for (const auto& [numid, room] : {std::pair{1U, 128U}, {2U, 512U}}) {
        mixer_ctl* control = mixer_get_ctl(opened, numid);
        ASSERT_GT(mixer_ctl_get_num_values(control), room);
        EXPECT_EQ(mixer_ctl_get_value(control, room - 1), numid == 1 ? 127 : 255);
        EXPECT_EQ(mixer_ctl_get_value(control, room), -EINVAL);
        for (const unsigned int more : {0U, 1U}) {
            const int status = more == 0 ? 0 : -EINVAL;
            EXPECT_EQ(mixer_ctl_set_value(control, room - 1 + more, 1), status);
            EXPECT_EQ(mixer_ctl_get_array(control, memory.data(), room + more), status);
            EXPECT_EQ(mixer_ctl_set_array(control, memory.data(), room + more), status);
        }
    }
}

TEST_F(tinyalsa_mixer, an_event_stays_until_it_is_read_and_is_waited_for_once) {
    const auto announce = [](mixer_plugin* plugin) { g_card.callback(plugin); };
    const struct {
        std::function<ssize_t(mixer_plugin*)> read_event;
        int read;
        bool stays;
    } rows[] = {
        // Comes while nothing is read.
        {[&](mixer_plugin* plugin) {
             announce(plugin);
             return 0;
         },
         0, true},
        {[](mixer_plugin*) { return sizeof(snd_ctl_event); }, 1, false},
        // Read before it is announced: the card puts it in place first.
        {[&](mixer_plugin* plugin) {
             announce(plugin);
             return sizeof(snd_ctl_event);
         },
         1, true},
        {[](mixer_plugin*) { return 0; }, 0, false},
    };
    ASSERT_EQ(mixer_subscribe_events(opened, 1), 0);
    for (const auto& row : rows) {
        g_card.read_event = row.read_event;
        mixer_ctl_event event{};
        EXPECT_EQ(mixer_read_event(opened, &event), row.read);
        EXPECT_EQ(mixer_wait_event(opened, 0), row.stays);
    }
}

}  // namespace

// In the layer's place: the one card is the one above.
bool card_node::load(kind /*what*/, unsigned int /*card*/, unsigned int /*device*/) {
    table = &kOps;
    return true;
}

void card_node::unload() {}

std::string card_node::name() const {
    return "a name too long to be stored within a string";
}
