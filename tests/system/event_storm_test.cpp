// Many clients at once against a card that raises events in bursts. What each sees is checked where
// it can be told; the rest is for the thread sanitizer. ZEL_STORM_SECONDS makes it longer.

#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>

#include "stream_fixture.h"
#include "test_basics.h"

namespace {

unsigned int below(std::mt19937& random, unsigned int end) {
    return static_cast<unsigned int>(random() % end);
}

class event_storm_test : public zel_test::stream_fixture {
  protected:
    /// Has `step` done over and over on so many threads until the storm is over.
    void loop(int count, const std::function<void(std::mt19937&)>& step) {
        for (; count > 0; --count) {
            threads.emplace_back([this, step, seed = threads.size()] {
                for (std::mt19937 random(static_cast<unsigned int>(seed)); !over;) {
                    step(random);
                }
            });
        }
    }
    /// Goes on for half a minute more when it hasn't been `enough`: on a slow machine few events
    /// find a subscriber who is there for a moment.
    void storm(std::chrono::seconds length, const std::function<bool()>& enough) {
        std::this_thread::sleep_for(length);
        for (int more = 0; more < 30 && !enough(); ++more) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
        }
        over = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_TRUE(enough()) << reads << ' ' << opens << ' ' << events << ' ' << accesses;
    }

    std::atomic<bool> over{false};
    std::atomic<int> reads{0}, opens{0}, events{0}, accesses{0};
    std::vector<std::thread> threads;
};

/// One client's life with a stream: opens, reads some, closes. Others may have the stream.
void use_stream(std::mt19937& random, std::atomic<int>& reads) {
    pcm_config config{};
    config.channels = 1 + below(random, 8);
    config.rate = below(random, 2) == 0 ? 16000 : 48000;
    config.period_size = config.rate / 1000 * 32;
    config.period_count = 4;
    config.format = below(random, 2) == 0 ? PCM_FORMAT_S16_LE : PCM_FORMAT_S32_LE;
    pcm* stream = pcm_open(70, 70, PCM_IN | PCM_NONBLOCK, &config);
    std::vector<std::uint8_t> buffer(pcm_is_ready(stream) != 0 ? pcm_frames_to_bytes(stream, 1000)
                                                               : 0);
    // Until something has come, about a second at most: on an emulator the worker takes its time.
    for (int i = 0, taken = 0; i < (taken == 0 ? 1000 : 20) && !buffer.empty(); ++i) {
        const int got = pcm_readi(stream, buffer.data(), 1000);
        EXPECT_GE(got, 0);
        taken += got;
        reads += got > 0 ? 1 : 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    pcm_close(stream);
}

TEST_F(event_storm_test, opening_subscribing_reading_writing_and_closing_get_along) {
    choose("Sim Pacing", "Fast");
    choose("Loopback Signal", "Silence");
    loop(6, [this](std::mt19937& random) { use_stream(random, reads); });
    loop(4, [this](std::mt19937& random) {
        mixer* opened = mixer_open(70);
        ASSERT_NE(opened, nullptr);
        opens += 1;
        EXPECT_STATUS(mixer_subscribe_events(opened, 1), 0);
        if (mixer_wait_event(opened, static_cast<int>(below(random, 20))) == 1) {
            mixer_ctl_event event{};
            EXPECT_EQ(mixer_read_event(opened, &event), 1);
            events += 1;
        }
        if (below(random, 2) == 0) {
            EXPECT_STATUS(mixer_subscribe_events(opened, 0), 0);
        }
        mixer_close(opened);
    });
    loop(4, [this](std::mt19937& random) {
        mixer* opened = mixer_open(70);
        ASSERT_NE(opened, nullptr);
        for (int n = 0; n < 20; ++n) {
            mixer_ctl* control = mixer_get_ctl(opened, below(random, mixer_get_num_ctls(opened)));
            unsigned char bytes[1024];
            if (mixer_ctl_get_type(control) == MIXER_CTL_TYPE_BYTE) {
                const unsigned int size = mixer_ctl_get_num_values(control);
                EXPECT_EQ(mixer_ctl_get_array(control, bytes, size), 0);
                EXPECT_STATUS(mixer_ctl_set_array(control, bytes, size), 0);
            } else {
                EXPECT_GE(mixer_ctl_get_value(control, 0), 0);
            }
            accesses += 1;
        }
        mixer_close(opened);
    });
    // The card itself: bursts of changes, known and unknown ones.
    loop(1, [](std::mt19937& random) {
        mixer* changing = mixer_open(0);
        for (unsigned int n = below(random, 12); n > 0; --n) {
            const char* const controls[] = {"PCM Slave Active", "PCM Slave Active",
                                            "PCM Channel Layout", "Loopback Volume"};
            set_on(changing, controls[below(random, 4)], static_cast<int>(below(random, 2)));
        }
        mixer_close(changing);
        std::this_thread::sleep_for(std::chrono::milliseconds(below(random, 20)));
    });
    const char* seconds = std::getenv("ZEL_STORM_SECONDS");
    storm(std::chrono::seconds(seconds != nullptr ? std::atol(seconds) : 5),
          [this] { return reads > 0 && opens > 20 && events > 0 && accesses > 20; });

    // And afterwards all is well.
    choose("Loopback Signal", "Ramp");
    choose("PCM Channel Layout", "1.0");
    const long full[2] = {100, 100};
    ASSERT_STATUS(mixer_ctl_set_array(mixer_get_ctl_by_name(card, "Loopback Volume"), full, 2), 0);
    const zel_test::stream_setup usual{32, 8, 16, 2, 16000};
    ASSERT_NO_FATAL_FAILURE(open_and_start(usual));
    EXPECT_EQ(read_blocks(1),
              zel_test::chain_model(usual, zel_test::matrix_for("1.0", 8, 2)).next_block());
}

}  // namespace
