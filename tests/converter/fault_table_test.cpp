// A whole life of a stream (build the converter, open, start, read across a restart and a new
// layout, close, end), with each call that can fail failing at its first, second, ... use until the
// life passes untouched. After each: a documented status, a stream that works, nothing left behind.

#include <set>

#include "converter_access.h"
#include "footprint.h"
#include "system_faults.h"
#include "test_basics.h"

using namespace zel_test;

namespace {

constexpr int kCommandTimeoutMs = 300;
constexpr std::size_t kBlockBytes = 1536 * 4;

/// Frame n is (n, ~n): any lost, torn or repeated frame inside a block shows.
int ramp(void* data, unsigned int frames, const pcm_config& /*config*/) {
    static std::atomic<std::uint16_t> next{0};
    auto* out = static_cast<std::uint16_t*>(data);
    for (unsigned int f = 0; f < frames; ++f) {
        const std::uint16_t n = next++;
        out[2 * f] = n;
        out[2 * f + 1] = static_cast<std::uint16_t>(~n);
    }
    return static_cast<int>(frames);
}

/// Reads until so many blocks have come, none can come any more, or none has for so long. The
/// number that came; each must be whole.
unsigned int read_blocks(zel_format_converter& fc, unsigned int blocks, int patience_ms) {
    unsigned int done = 0;
    std::vector<std::uint16_t> block(kBlockBytes / 2);
    bool idle = false;
    for (int i = 0; i < patience_ms && done < blocks; ++i) {
        const int got = fc.read(block.data(), kBlockBytes);
        if (got < 0) {
            break;
        }
        if (got == 0 && idle) {
            break;
        }
        if (got == 0) {
            idle = card_is_idle();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            continue;
        }
        EXPECT_EQ(got, static_cast<int>(kBlockBytes));
        bool whole = true;
        for (std::size_t f = 0; f < 1536; ++f) {
            whole = whole && block[2 * f] == static_cast<std::uint16_t>(block[0] + f) &&
                    block[2 * f + 1] == static_cast<std::uint16_t>(~block[2 * f]);
        }
        EXPECT_TRUE(whole) << "block " << done << " begins with " << block[0] << ", " << block[1];
        ++done;
    }
    return done;
}

struct statuses {
    int open, start, close;
    unsigned int blocks;
};

statuses live(zel_format_converter& fc, int patience_ms) {
    const pcm_config config = client_config();
    statuses result{};
    // Without its path from the platform a stream is silent, which is no failure.
    EXPECT_EQ(fc.set(PROP_MIXING_JSON_PATH, identity_mixing().c_str()), 0);
    result.open = fc.open(&config, PCM_IN);
    result.start = fc.start();
    if (result.open == 0 && result.start == 0) {
        allow_reads(2);
        result.blocks = read_blocks(fc, 2, patience_ms);
        push_event(1);
        push_event(6);
        allow_reads(2);
        result.blocks += read_blocks(fc, 2, patience_ms);
    }
    allow_reads(-1);
    result.close = fc.close();
    return result;
}

void set_scene() {
    reset_script();
    set_source(ramp);
}

/// A poller that fails ends the worker, if not before then soon.
bool worker_answers(zel_format_converter& fc) {
    for (int i = 0; i < 30; ++i) {
        if (fc_access::has_ended(fc)) {
            return false;
        }
        if (fc.close() == 0) {
            return true;
        }
    }
    ADD_FAILURE() << "a worker that neither answers nor ends";
    return false;
}

void expect_documented(const statuses& result) {
    const std::set<int> documented = {0, -1, -EIO, -ENOMEM, -ENODEV, -EINVAL, -ETIME, -EMFILE};
    for (const int status : {result.open, result.start, result.close}) {
        EXPECT_TRUE(documented.count(status) == 1) << status;
    }
    EXPECT_TRUE(result.open != 0 || result.start != 0 || result.close != 0 || result.blocks > 0)
        << "a failure that nobody was told of";
}

void expect_working(zel_format_converter& fc) {
    set_scene();
    fc_access::timeout_ms(fc) = 5000;  // a loaded machine is no fault
    const statuses clean = live(fc, 5000);
    EXPECT_EQ(clean.open, 0);
    EXPECT_EQ(clean.start, 0);
    EXPECT_EQ(clean.close, 0);
    EXPECT_EQ(clean.blocks, 4U);
}

/// One life with whatever `arm` makes fail, and what must hold afterwards.
template <typename Arm, typename Disarm>
void life_with_fault(Arm arm, Disarm disarm) {
    const std::size_t left_behind = fc_access::left_behind.size();
    set_scene();
    clear_log();
    arm();
    const auto begin = std::chrono::steady_clock::now();
    fc_access::owner fc = fc_access::make();
    fc_access::timeout_ms(*fc) = kCommandTimeoutMs;
    const statuses result = live(*fc, 500);
    disarm();
    expect_documented(result);
    const bool has_channel = !log_has("command channel is not open");
    allow_reads(-1);
    if (has_channel && worker_answers(*fc)) {
        expect_working(*fc);
    }
    fc.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_EQ(open_handles(), 0);
    EXPECT_EQ(fc_access::left_behind.size(), left_behind) << "a worker that has ended is joined";
    fc = fc_access::make();
    expect_working(*fc);
}

class fault_table : public testing::Test {
  protected:
    void SetUp() override {
        const fc_access::owner fc = fc_access::make();
        expect_working(*fc);
        clear_log();
    }
    footprint before = [] {
        std::thread([] {}).join();  // the first one makes a sanitizer start one of its own
        return footprint::now();
    }();
    void TearDown() override {
        const footprint after = footprint::now();
        EXPECT_EQ(after.descriptors, before.descriptors);
        EXPECT_EQ(after.threads, before.threads);
    }
};

TEST_F(fault_table, every_call_of_tinyalsa_and_the_platform) {
    for (int kind = 0; kind < static_cast<int>(call::count); ++kind) {
        const auto failing = static_cast<call>(kind);
        for (int nth = 1; nth <= 12; ++nth) {
            SCOPED_TRACE(testing::Message() << "call " << kind << ", use " << nth);
            int calls = 0;
            life_with_fault([=] { fail_call(failing, nth, -EIO); },
                            [&] { calls = calls_of(failing); });
            if (calls < nth) {
                break;
            }
        }
    }
}

TEST_F(fault_table, every_system_call_of_channel_and_poller) {
    for (int kind = 0; kind < static_cast<int>(system_call::of_channel); ++kind) {
        const auto failing = static_cast<system_call>(kind);
        bool struck = true;
        for (int nth = 1; struck && nth <= 16; ++nth) {
            SCOPED_TRACE(testing::Message() << "call " << kind << ", use " << nth);
            life_with_fault([=] { fail_system_call(failing, nth, EMFILE); },
                            [&] { struck = stop_failing_system_calls(); });
            EXPECT_TRUE(struck || nth > 1) << "a call that is never made";
        }
    }
}

}  // namespace
