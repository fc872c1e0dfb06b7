// A long stream through random changes of the card, restarts, faults, clients that stall and
// clients that come and go. A model of the worker tells each sample, event and time; memory,
// descriptors and threads stay as they were. ZEL_SOAK_SECONDS and ZEL_SOAK_SEED choose how much
// stream time and which course.

#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>

#include <deque>

#include "footprint.h"
#include "stream_fixture.h"
#include "test_basics.h"

namespace {

using zel_test::chain_model;
using zel_test::matrix_for;
using zel_test::stream_setup;

constexpr const char* kLayouts[] = {"1.0", "2.0", "4.0", "5.1", "7.1", "7.1.4"};
constexpr unsigned int kActive = 1, kFormat = 2, kChannels = 3, kLayout = 6;

long from_environment(const char* name, long otherwise) {
    const char* text = std::getenv(name);
    return text != nullptr ? std::atol(text) : otherwise;
}

class soak_test : public zel_test::virtual_card_fixture {
  protected:
    unsigned int below(unsigned int end) { return static_cast<unsigned int>(random() % end); }
    mixer* any_mixer() { return below(2) == 0 ? card : virtual_card; }

    chain_model model_of_card() {
        chain_model fresh(card_setup, matrix_for(kLayouts[layout], card_setup.card_channels,
                                                 card_setup.client_channels));
        fresh.set_volume(volume[0], volume[1]);
        in_use_channels = card_setup.card_channels;
        return fresh;
    }
    void open_client() {
        card_setup.client_bits = below(2) == 0 ? 16 : 32;
        card_setup.client_channels = 1 + below(8);
        card_setup.client_rate = below(4) == 0 ? 48000 : 16000;
        const unsigned int periods = 1 + below(8);
        set("Sim Fault Open", 0);
        set("Sim Fault Read Error", 0);
        ASSERT_NO_FATAL_FAILURE(open_and_start(card_setup, periods));
        ring.clear();
        ring_room = periods * block_frames() * card_setup.client_channels;
        pending.clear();
        restart_to_tell = false;
        begin_stream();
    }
    void begin_stream() {
        model = model_of_card();
        stream_blocks = 0;
        known_start = false;
    }
    /// What the card's subscriber is told, in the card's order, each control once.
    void announce(unsigned int numid) {
        if (std::find(pending.begin(), pending.end(), numid) == pending.end()) {
            pending.push_back(numid);
        }
    }
    void change_card() {
        // Another event would end a restart that is going to fail at first, and a read that fails
        // gives the worker one cycle more, which may take one.
        if (value("Sim Fault Open") > 0 || value("Sim Fault Read Error") > 0) {
            return;
        }
        switch (below(6)) {
            case 0:
                set_on(any_mixer(), "PCM Slave Active", static_cast<int>(below(2)));
                if (pending.empty() && below(2) == 0) {
                    set("Sim Fault Open", static_cast<int>(1 + below(3)));
                }
                announce(kActive);
                break;
            case 1: {
                constexpr int kBits[] = {16, 24, 32};
                constexpr int kCodes[] = {2, 6, 10};
                const unsigned int choice = below(3);
                card_setup.card_bits = kBits[choice];
                set_on(any_mixer(), "PCM Slave Format", kCodes[choice]);
                announce(kFormat);
                announce(kActive);
                break;
            }
            case 2:
                card_setup.card_channels = 1 + below(16);
                set_on(any_mixer(), "PCM Slave Channels",
                       static_cast<int>(card_setup.card_channels));
                announce(kChannels);
                announce(kActive);
                break;
            case 3:
                layout = below(6);
                choose_on(any_mixer(), "PCM Channel Layout", kLayouts[layout]);
                announce(kLayout);
                break;
            case 4: {
                for (int& gain : volume) {
                    gain = static_cast<int>(below(101));
                }
                const long gains[2] = {volume[0], volume[1]};
                ASSERT_STATUS(mixer_ctl_set_array(
                                  mixer_get_ctl_by_name(any_mixer(), "Loopback Volume"), gains, 2),
                              0);
                announce(0);
                model.set_volume(volume[0], volume[1]);
                break;
            }
            default:
                if (pending.empty()) {
                    set("Sim Fault Read Error", 1);
                }
                break;
        }
    }
    /// The worker stores the block it has waited for, then works off events until one lets it read.
    void follow_worker() {
        const std::vector<std::int32_t> block = model.next_block();
        ring.insert(ring.end(), block.begin(), block.end());
        while (ring.size() > ring_room) {
            ring.pop_front();
        }
        ++stream_blocks;
        events_due += restart_to_tell ? 1 : 0;
        restart_to_tell = false;
        while (!pending.empty()) {
            const unsigned int numid = pending.front();
            pending.pop_front();
            if (numid == kActive) {
                restart_to_tell = true;
                begin_stream();
                return;
            }
            if (numid == kLayout) {
                model.set_matrix(
                    matrix_for(kLayouts[layout], in_use_channels, current.client_channels));
                // Without a matrix for the layout the cycle ends, and the next event comes.
                if (zel_test::has_matrix(kLayouts[layout], in_use_channels)) {
                    return;
                }
            }
        }
    }
    void grant() {
        const bool read_fails = value("Sim Fault Read Error") > 0;
        const int reads = value("Sim Reads");
        set("Sim Granted Frames", 1536);
        ASSERT_TRUE(wait_for_read_after(reads));
        if (read_fails) {
            ASSERT_TRUE(wait_for_read_after(reads + 1));
        }
        follow_worker();
        ++blocks;
        events += take_events();
        ASSERT_EQ(events, events_due);
    }
    void read_some() {
        const auto buffered = static_cast<unsigned int>(ring.size()) / current.client_channels;
        const unsigned int frames = buffered == 0 ? 0 : 1 + below(buffered);
        if (frames == 0) {
            return;
        }
        const std::vector<std::int32_t> got = read(frames);
        const auto end = ring.begin() + static_cast<std::ptrdiff_t>(got.size());
        const auto [ours, theirs] = std::mismatch(got.begin(), got.end(), ring.begin());
        ASSERT_EQ(ours, got.end()) << "sample " << ours - got.begin() << " of " << got.size()
                                   << ": " << *ours << " instead of " << *theirs;
        ring.erase(ring.begin(), end);
        check_time(buffered - frames);
    }
    /// The newest block's time moves by 32 ms a block from the stream's first block on.
    void check_time(unsigned int left) {
        const position now = newest();
        ASSERT_EQ(now.left, left);
        if (stream_blocks > 0) {
            const std::int64_t start = now.time_ns - stream_blocks * 32'000'000LL;
            if (known_start) {
                ASSERT_EQ(start, stream_start);
            }
            stream_start = start;
            known_start = true;
        }
    }
    void step() {
        const unsigned int dice = below(100);
        if (dice < 20) {
            ASSERT_NO_FATAL_FAILURE(change_card());
        } else if (dice < 22) {
            for (unsigned int n = below(40); n > 0; --n) {  // the client stalls
                ASSERT_NO_FATAL_FAILURE(grant());
            }
        } else if (dice < 60) {
            ASSERT_NO_FATAL_FAILURE(read_some());
        } else {
            ASSERT_NO_FATAL_FAILURE(grant());
        }
    }

    std::mt19937 random;
    stream_setup card_setup{32, 8, 16, 2, 16000};  ///< the card as it is now, and the client
    unsigned int in_use_channels = 8;              ///< the card's at the last open or restart
    unsigned int layout = 0;
    int volume[2] = {100, 100};
    chain_model model{card_setup, matrix_for("1.0", 8, 2)};
    std::deque<std::int32_t> ring;
    std::size_t ring_room = 0;         ///< samples
    std::deque<unsigned int> pending;  ///< events of the card, by numid
    bool restart_to_tell = false;
    int events = 0, events_due = 0;
    std::int64_t blocks = 0, stream_blocks = 0;
    std::int64_t stream_start = 0;
    bool known_start = false;
};

TEST_F(soak_test, every_sample_event_and_time_is_the_models_and_nothing_grows) {
    const long seconds = from_environment("ZEL_SOAK_SECONDS", 300);
    const auto seed = static_cast<unsigned int>(from_environment("ZEL_SOAK_SEED", 1));
    SCOPED_TRACE(testing::Message() << "ZEL_SOAK_SEED=" << seed);
    random.seed(seed);
    const std::int64_t total = seconds * 1000 / 32;
    zel_test::footprint before{};
    std::int64_t next_report = 0;
    for (int client = 0; blocks < total; ++client) {
        ASSERT_NO_FATAL_FAILURE(open_client()) << "block " << blocks;
        for (unsigned int steps = 50 + below(400); steps > 0 && blocks < total; --steps) {
            ASSERT_NO_FATAL_FAILURE(step()) << "block " << blocks << ", client " << client;
        }
        close();
        zel_test::clear_log();
        // A restart that nobody was told of yet is not told to the next client.
        take_events();
        events_due = events;
        // The first third lets everything grow that does so once.
        if (before.threads == 0 && blocks >= total / 3) {
            before = zel_test::footprint::now();
        }
        if (blocks >= next_report) {
            std::printf("%lld of %ld s, %d clients, %d restarts\n",
                        static_cast<long long>(blocks * 32 / 1000), seconds, client + 1, events);
            std::fflush(stdout);
            next_report += total / 10;
        }
    }
    const zel_test::footprint after = zel_test::footprint::now();
    ASSERT_GT(before.threads, 0) << "too short to measure";
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_LT(after.heap_bytes, before.heap_bytes + 256 * 1024);
    EXPECT_GT(events, seconds / 3);
}

}  // namespace
