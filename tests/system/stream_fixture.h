#pragma once

#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>

#include "chain_model.h"
#include "test_basics.h"

namespace zel_test {

/// A stream of the virtual card over the simulated card, which delivers as much as the test grants
/// it. In a test that grants and waits, the worker waits in the card's read whenever the test
/// looks: every block can be told.
class stream_fixture : public testing::Test {
  protected:
    static void SetUpTestSuite();
    void SetUp() override;
    void TearDown() override;

    void set(const char* control, int value) { set_on(card, control, value); }
    void choose(const char* control, const char* item) { choose_on(card, control, item); }
    int value(const char* control) const;
    static void set_on(mixer* handle, const char* control, int value);
    static void choose_on(mixer* handle, const char* control, const char* item);

    /// Width and channel count of the card.
    void set_card(const stream_setup& setup);
    bool open(const stream_setup& setup, unsigned int period_size, unsigned int period_count);
    /// Sets the card, opens with periods of one block, starts, and waits until the worker waits at
    /// the card.
    void open_and_start(const stream_setup& setup, unsigned int period_count = 4);
    void close();

    /// Lets the card deliver one block and waits until the worker has stored it and is back.
    void grant_block();
    /// Waits for the read of the card after `reads` of them, at most 5 s.
    bool wait_for_read_after(int reads) const;
    /// Reads `frames` frames, blocking, as interleaved samples of any width.
    std::vector<std::int32_t> read(unsigned int frames);
    /// One after the other: lets the card deliver a block and reads what becomes of it.
    std::vector<std::int32_t> read_blocks(unsigned int blocks);
    /// Capture time of the newest frame that was stored, and how many are left to be read.
    struct position {
        std::int64_t time_ns;
        unsigned int left;
    };
    position newest() const;

    unsigned int block_frames() const { return current.client_rate / 1000 * 32; }

    mixer* card = nullptr;
    pcm* stream = nullptr;
    stream_setup current{};
};

/// The same beside an open mixer of the virtual card that is subscribed to its events.
class virtual_card_fixture : public stream_fixture {
  protected:
    void SetUp() override;
    void TearDown() override;

    void change(const char* control, int wanted) { set_on(virtual_card, control, wanted); }
    /// Takes the events that are there to be read; their number.
    int take_events();

    mixer* virtual_card = nullptr;
};

}  // namespace zel_test
