// The capture operations, called as tinyalsa calls them, and out of order. Whose the stream is:
// after calls that fail, and after starts by handles and reads in any order.

#include <fcntl.h>
#include <unistd.h>

#include <numeric>

#include "allocation_faults.h"
#include "client_params.h"
#include "converter_access.h"
#include "footprint.h"
#include "skipped_time.h"
#include "test_basics.h"
#include "zel_format_converter_pcm_plugin.h"
#include "zel_stream_owner.h"

using namespace zel_test;
using namespace std::chrono_literals;

extern "C" const struct pcm_plugin_ops pcm_plugin_ops;

namespace {

const struct pcm_plugin_ops& ops = pcm_plugin_ops;

class pcm_plugin_test : public testing::Test {
  protected:
    void SetUp() override {
        reset_script();
        allow_reads(-1);
        clear_log();
    }
    void TearDown() override {
        while (!handles.empty()) {
            EXPECT_STATUS(close(handles.back()), 0);
        }
        EXPECT_EQ(open_handles(), 0);
    }

    pcm_plugin* open(unsigned int flags = PCM_IN) {
        pcm_plugin* plugin = nullptr;
        EXPECT_STATUS(ops.open(&plugin, 70, 70, flags), 0);
        handles.push_back(plugin);
        return plugin;
    }
    int close(pcm_plugin* plugin) {
        std::erase(handles, plugin);
        return ops.close(plugin);
    }
    static int set_params(pcm_plugin* plugin, const client_params& wanted = {}) {
        snd_pcm_hw_params params = wanted.record();
        return ops.hw_params(plugin, &params);
    }
    int read(pcm_plugin* plugin, unsigned long frames, long* got) {
        buffer.assign(frames * 32 + 1, 0);
        snd_xferi xferi{-1, buffer.data(), frames};
        const int status = ops.readi_frames(plugin, &xferi);
        *got = xferi.result;
        return status;
    }

    std::vector<pcm_plugin*> handles;
    std::vector<std::uint8_t> buffer;  ///< of the last read, larger than that
};

TEST_F(pcm_plugin_test, open_refuses_what_is_not_its_stream) {
    pcm_plugin* plugin = nullptr;
    const struct {
        pcm_plugin** plugin;
        unsigned int card, device, flags;
        const char* message;
    } cases[] = {
        {&plugin, 70, 71, PCM_IN, "open                :"},
        {&plugin, 70, 71, PCM_IN, "invaild card(70) or device(71)!!"},
        {&plugin, 0, 70, PCM_IN, "invaild card(0) or device(70)!!"},
        {&plugin, 70, 70, 0, "invaild flag type 0!!"},
        {&plugin, 70, 70, PCM_NONBLOCK, "invaild flag type 10!!"},
        {nullptr, 70, 70, PCM_IN, "invalid plugin"},
    };
    for (const auto& c : cases) {
        clear_log();
        errno = 0;
        EXPECT_STATUS(ops.open(c.plugin, c.card, c.device, c.flags), -EINVAL) << c.message;
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(plugin, nullptr);
        EXPECT_TRUE(log_has(c.message)) << c.message;
    }
}

TEST_F(pcm_plugin_test, open_without_memory_leaves_nothing) {
    pcm_plugin* plugin = nullptr;
    fail_allocation(1);
    const int status = ops.open(&plugin, 70, 70, PCM_IN);
    EXPECT_TRUE(stop_failing_allocations());
    EXPECT_STATUS(status, -ENOMEM);
    EXPECT_EQ(plugin, nullptr);
    EXPECT_TRUE(log_has("no memory for the plugin record"));
}

TEST_F(pcm_plugin_test, a_closed_handle_takes_its_record_along) {
    EXPECT_STATUS(close(open()), 0);
    const std::size_t before = footprint::now().heap_bytes;
    for (int i = 0; i < 500; ++i) {
        EXPECT_STATUS(close(open()), 0);
        clear_log();
    }
    EXPECT_LT(footprint::now().heap_bytes, before + 16'384) << "a record has some 200 bytes";
}

TEST_F(pcm_plugin_test, open_states_the_limits) {
    const pcm_plugin* plugin = open(PCM_IN | PCM_MONOTONIC);
    EXPECT_EQ(plugin->card, 70U);
    EXPECT_EQ(plugin->device, 70U);
    EXPECT_EQ(plugin->state, 0U);
    EXPECT_EQ(static_cast<unsigned int>(plugin->mode), PCM_IN | PCM_MONOTONIC);
    const pcm_plugin_hw_constraints& limits = *plugin->constraints;
    EXPECT_EQ(limits.access, 3U);
    EXPECT_EQ(limits.format, 0x404U);
    const std::pair<pcm_plugin_min_max, std::pair<unsigned int, unsigned int>> ranges[] = {
        {limits.bit_width, {16, 32}},
        {limits.channels, {1, 8}},
        {limits.rate, {16000, 48000}},
        {limits.periods, {1, 128}},
        {limits.period_bytes, {256, 4096}}};
    for (const auto& [range, wanted] : ranges) {
        EXPECT_EQ((std::pair{range.min, range.max}), wanted);
    }
}

TEST_F(pcm_plugin_test, null_pointers_are_refused_by_name) {
    pcm_plugin* plugin = open();
    snd_xferi no_buffer{0, nullptr, 1};
    int value = 0;
    pollfd pfd{};
    snd_pcm_hw_params params{};
    snd_pcm_sw_params sw{};
    snd_pcm_sync_ptr sync{};
    const struct {
        int status;
        int expected;
        const char* message;
    } calls[] = {
        {ops.close(nullptr), -EINVAL, "close               :"},
        {ops.hw_params(nullptr, &params), -EINVAL, "hw_params           :"},
        {ops.hw_params(plugin, nullptr), -EINVAL, "invalid parameter!!"},
        {ops.sw_params(nullptr, &sw), -EINVAL, "sw_params           :"},
        {ops.sw_params(plugin, nullptr), -EINVAL, "invalid sw param!!"},
        {ops.sw_params(plugin, &sw), 0, ""},
        {ops.sync_ptr(nullptr, &sync), -EINVAL, "sync_ptr            :"},
        {ops.sync_ptr(plugin, nullptr), -EINVAL, "invalid SyncPtr!!"},
        {ops.writei_frames(nullptr, &no_buffer), -EINVAL, "writei_frames       :"},
        {ops.writei_frames(plugin, nullptr), -EINVAL, "pstSndXferi is nullptr!!"},
        {ops.writei_frames(plugin, &no_buffer), -EINVAL, "invalid SndXferi buf!!"},
        {ops.readi_frames(nullptr, &no_buffer), -EINVAL, "readi_frames        :"},
        {ops.readi_frames(plugin, nullptr), -EINVAL, "invalid SndXferi!!"},
        {ops.readi_frames(plugin, &no_buffer), -EINVAL, "invalid SndXferi buf!!"},
        {ops.ttstamp(nullptr, &value), -EINVAL, "ttstamp             :"},
        {ops.ttstamp(plugin, nullptr), -EINVAL, "pTstamp is nullptr!!"},
        {ops.ttstamp(plugin, &value), 0, "not supported"},
        {ops.prepare(nullptr), -EINVAL, "prepare             :"},
        {ops.prepare(plugin), 0, ""},
        {ops.start(nullptr), -EINVAL, "start               :"},
        {ops.drop(nullptr), -EINVAL, "drop                :"},
        {ops.drop(plugin), 0, "not supported"},
        {ops.ioctl(nullptr, 0, &value), -EINVAL, "ioctl               :"},
        {ops.ioctl(plugin, 0, nullptr), -EINVAL, "arg is nullptr!!"},
        {ops.ioctl(plugin, 0, &value), 0, "not supported"},
        {ops.munmap(nullptr, &value, 1), -EINVAL, "munmap              :"},
        {ops.munmap(plugin, nullptr, 1), -EINVAL, "pAddr is nullptr!!"},
        {ops.munmap(plugin, &value, 1), 0, "not supported"},
        {ops.poll(nullptr, &pfd, 1, 0), -EINVAL, "poll                :"},
        {ops.poll(plugin, nullptr, 1, 0), -EINVAL, "pfd is nullptr!!"},
        {ops.poll(plugin, &pfd, 1, 0), 0, "not supported"},
    };
    for (const auto& call : calls) {
        EXPECT_EQ(call.status, call.expected) << call.message;
        EXPECT_TRUE(log_has(call.message)) << call.message;
    }
    EXPECT_EQ(log_count("pstPcmPlugin is nullptr!!"), 13U);
    errno = 0;
    EXPECT_EQ(ops.mmap(nullptr, nullptr, 1, 0, 0, 0), reinterpret_cast<void*>(-1));
    EXPECT_EQ(errno, EOPNOTSUPP);

    void* priv = plugin->priv;
    plugin->priv = nullptr;
    EXPECT_STATUS(ops.hw_params(plugin, &params), -EINVAL);
    EXPECT_TRUE(log_has("priv invalid!!"));
    plugin->priv = priv;
}

TEST_F(pcm_plugin_test, calls_out_of_order_fail_and_the_right_order_works_afterwards) {
    pcm_plugin* plugin = open();
    long got = -1;
    EXPECT_STATUS(ops.start(plugin), -EINVAL);
    EXPECT_TRUE(log_has("error to start fc thread before open"));
    errno = 0;
    EXPECT_STATUS(read(plugin, 16, &got), -EINVAL);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(got, 0);
    EXPECT_STATUS(read(plugin, 0, &got), 0) << "nothing to wait for";

    for (const unsigned int channels : {9U, 0U}) {
        clear_log();
        EXPECT_STATUS(set_params(plugin, {.channels = channels}), -EINVAL);
        EXPECT_TRUE(log_has("channel num " + std::to_string(channels) + " out of limit 8"));
        EXPECT_FALSE(log_has("open FC with"));
    }
    set_source([](void* data, unsigned int frames, const pcm_config& config) {
        std::memset(data, 1, std::size_t{frames} * config.channels * 2);
        return static_cast<int>(frames);
    });
    EXPECT_STATUS(set_params(plugin, {}), 0);
    EXPECT_FALSE(log_has("format converter open fail."));
    EXPECT_STATUS(set_params(plugin, {.channels = 1}), -EINVAL);
    EXPECT_TRUE(log_has("unexpected behavior eFCStatuS 1 received 1"));
    EXPECT_TRUE(log_has("format converter open fail."));
    EXPECT_STATUS(read(plugin, 1000, &got), 0);
    EXPECT_EQ(got, 1000);
    EXPECT_FALSE(log_has("read error"));
    EXPECT_EQ(std::count(buffer.begin(), buffer.end(), 1), 4000) << "frames of the first open";
    EXPECT_STATUS(ops.start(plugin), 0) << "the read has started the stream";
    EXPECT_STATUS(read(plugin, 0, &got), 0);
    EXPECT_EQ(got, 0);
    snd_xferi endless{-1, &got, 1UL << (8 * sizeof(long) - 2)};  // times 4 bytes is 0
    EXPECT_STATUS(ops.readi_frames(plugin, &endless), -EINVAL);
    EXPECT_TRUE(log_has("readi_frames", "read error"));
    EXPECT_EQ(endless.result, 0);
    EXPECT_STATUS(ops.drop(plugin), 0);
    EXPECT_STATUS(read(plugin, 10, &got), 0) << "drop does not stop the capture";
    EXPECT_STATUS(close(plugin), 0);
}

TEST_F(pcm_plugin_test, width_comes_from_the_bits_or_from_a_mask_that_names_one_format) {
    const struct {
        unsigned int bits, mask;
        const char* opened;
    } cases[] = {
        {16, kS16, "2 channel 16 bits"},
        {32, kS32, "2 channel 32 bits"},
        {16, kS32, "2 channel 32 bits"},
        {32, kS16, "2 channel 16 bits"},
        {32, kS16 | kS32, "2 channel 32 bits"},
        {16, kS16 | kS32, "2 channel 16 bits"},
        {24, 0, "2 channel 16 bits"},
        {24, 1U << SNDRV_PCM_FORMAT_S24_LE, "16 bits"},
        {24, kS32, "2 channel 32 bits"},
        {16, 1U << SNDRV_PCM_FORMAT_S24_LE, "16 bits"},
        {32, 1U << SNDRV_PCM_FORMAT_S24_LE, "32 bits"},
    };
    for (const auto& c : cases) {
        clear_log();
        pcm_plugin* plugin = open();
        EXPECT_STATUS(set_params(plugin, {.sample_bits = c.bits, .format_mask = c.mask}), 0);
        EXPECT_TRUE(log_has(std::string("open FC with ") +
                            (c.opened[0] == '2' ? "" : "2 channel ") + c.opened))
            << c.bits << " bits, mask " << c.mask;
        const bool other = (c.mask & (kS16 | kS32)) == 0;
        EXPECT_EQ(log_has("sample width 24 is neither"), other && c.bits == 24);
        EXPECT_EQ(log_has("sample format is neither"), other && c.bits != 24);
        EXPECT_STATUS(close(plugin), 0);
    }
    pcm_plugin* wide = open();
    EXPECT_STATUS(set_params(wide, {.channels = 9, .sample_bits = 32, .format_mask = kS16 | kS32}),
                  -EINVAL);
    EXPECT_STATUS(set_params(wide, {.channels = 8, .format_mask = kS16 | kS32}), 0) << "the most";
    EXPECT_TRUE(log_has("open FC with 8 channel 16 bits")) << "of the refused ones nothing stays";
    EXPECT_STATUS(close(wide), 0);
    // 8 bits leave no room in the client's buffer for what it would get.
    pcm_plugin* narrow = open();
    EXPECT_STATUS(set_params(narrow, {.format_mask = 1U << SNDRV_PCM_FORMAT_S8}), -EINVAL);
    EXPECT_TRUE(log_has("hw_params", "samples of 8 bits have no room for 16"));
    EXPECT_STATUS(close(narrow), 0);
}

TEST_F(pcm_plugin_test, non_blocking_reads_take_what_is_there) {
    allow_reads(0);
    pcm_plugin* plugin = open(PCM_IN | PCM_NONBLOCK);
    long got = -1;
    EXPECT_STATUS(read(plugin, 0, &got), -EINVAL) << "not even nothing, without a stream";
    ASSERT_STATUS(set_params(plugin), 0);
    ASSERT_STATUS(read(plugin, 0, &got), 0);
    EXPECT_EQ(zel_stream_started(), zel_started::no);
    ASSERT_STATUS(read(plugin, 1, &got), 0);
    EXPECT_EQ(got, 0);
    EXPECT_TRUE(eventually(card_is_idle)) << "the first frame asked for starts the stream";
    snd_xferi largest{-1, &got, PTRDIFF_MAX / 4};  // frames of 4 bytes; there are none to be had
    EXPECT_STATUS(ops.readi_frames(plugin, &largest), 0);
    ++largest.frames;
    EXPECT_STATUS(ops.readi_frames(plugin, &largest), -EINVAL);
    allow_reads(1);
    long total = 0;
    EXPECT_TRUE(eventually([&] { return read(plugin, 700, &got) == 0 && (total += got) == 512; }));
    allow_reads(-1);
}

TEST_F(pcm_plugin_test, a_blocking_read_gives_up_after_ten_seconds_without_a_byte) {
    allow_reads(0);
    set_source([next = 0](void* data, unsigned int frames, const pcm_config&) mutable {
        auto* const words = static_cast<int*>(data);  // a frame each
        std::iota(words, words + frames, next);
        next += static_cast<int>(frames);
        return static_cast<int>(frames);
    });
    pcm_plugin* plugin = open();
    ASSERT_STATUS(set_params(plugin, {.rate = 48000}), 0);
    ASSERT_STATUS(ops.start(plugin), 0);
    int sleeps = 0;
    skip_sleeps([&] {  // a block every 9.6 s, three of them
        if (++sleeps % 300 == 0 && sleeps <= 900) {
            allow_reads(1);
            const int reads = sleeps / 300 + 1;
            EXPECT_TRUE(eventually(
                [=] { return calls_of(call::pcm_readi) == reads && reads_waiting() == 1; }));
        }
    });
    long got = -1;
    EXPECT_STATUS(read(plugin, 3 * 1536, &got), 0);
    EXPECT_EQ(got, 3 * 1536);
    EXPECT_EQ(sleeps, 900);
    std::vector<int> frames(3 * 1536), wanted(frames.size());
    std::memcpy(frames.data(), buffer.data(), frames.size() * sizeof(int));
    std::iota(wanted.begin(), wanted.end(), 0);
    EXPECT_EQ(frames, wanted) << "each block behind the one before";
    errno = 0;
    EXPECT_STATUS(read(plugin, 1, &got), -EIO);
    EXPECT_EQ(errno, EIO);
    EXPECT_TRUE(log_has("readi_frames", "read timeout, no data for 10 s"));
    EXPECT_NEAR(sleeps - 900, 10'000 / 32, 2);
    EXPECT_EQ(log_count("usleep fail"), 0U);
    skip_sleeps({});
    allow_reads(-1);
}

class pcm_owner : public pcm_plugin_test {
  protected:
    int read(pcm_plugin* handle) {
        long got = 0;
        return pcm_plugin_test::read(handle, 100, &got);
    }

    zel_format_converter& fc = zel_format_converter::getInstance();
    pcm_plugin* const first = open();
    pcm_plugin* const second = open();
    pcm_plugin* const third = open();
};

TEST_F(pcm_owner, a_stream_whose_close_failed_is_closed_with_the_next_handle) {
    ASSERT_STATUS(set_params(first), 0);
    const int kept = fc_access::command_pipe(fc)[1];
    fc_access::command_pipe(fc)[1] = 0;
    EXPECT_STATUS(ops.close(first), -EIO);
    fc_access::command_pipe(fc)[1] = kept;

    EXPECT_STATUS(set_params(second), -EINVAL) << "nobody has closed it";
    EXPECT_STATUS(close(second), 0);
    EXPECT_STATUS(set_params(third), 0);
    EXPECT_STATUS(read(first), -EINVAL) << "the stream is no longer its own";
    EXPECT_STATUS(close(first), 0) << "the record that the failed close left";
    EXPECT_STATUS(read(third), 0);
}

TEST_F(pcm_owner, only_the_owner_starts_and_only_once) {
    ASSERT_STATUS(set_params(first), 0);
    EXPECT_STATUS(ops.start(second), -EINVAL);
    EXPECT_TRUE(log_has("the stream belongs to another handle"));
    EXPECT_STATUS(ops.start(first), 0);
    EXPECT_STATUS(read(first), 0);
    EXPECT_STATUS(ops.start(first), -EINVAL);
    EXPECT_TRUE(log_has("error to start fc thread before open"));
    first->state = 2;
    EXPECT_STATUS(ops.start(first), 0) << "prepared anew after a stop";
    EXPECT_STATUS(read(first), 0);
}

TEST_F(pcm_owner, the_newest_time_and_what_is_left_are_told) {
    set_timestamps({{5, 7}}, 0);
    allow_reads(1);
    ASSERT_STATUS(set_params(first), 0);
    EXPECT_STATUS(read(first), 0);
    snd_pcm_sync_ptr sync{};
    sync.c.control.appl_ptr = 1000;
    EXPECT_STATUS(ops.sync_ptr(first, &sync), 0);
    EXPECT_EQ(sync.s.status.hw_ptr, 1000 + 512 - 100U);
    EXPECT_EQ(sync.s.status.tstamp.tv_sec, 5);
    EXPECT_EQ(sync.s.status.tstamp.tv_nsec, 7);
    EXPECT_EQ(sync.c.control.appl_ptr, 1000U);
    const pid_t own = std::exchange(fc_access::owner_pid(fc), 1);
    errno = 0;
    EXPECT_EQ(ops.sync_ptr(first, &sync), -1) << "in a forked child";
    EXPECT_EQ(errno, EIO);
    EXPECT_TRUE(log_has("sync_ptr", "format converter get timestamp fail."));
    fc_access::owner_pid(fc) = own;
    allow_reads(-1);
}

TEST_F(pcm_owner, a_start_that_is_answered_too_late_is_a_start) {
    ASSERT_STATUS(set_params(first), 0);
    int elsewhere[2];
    ASSERT_EQ(pipe2(elsewhere, O_NONBLOCK), 0);
    int& answers = fc_access::result_pipe(fc)[0];
    const int kept = std::exchange(answers, elsewhere[0]);
    fc_access::timeout_ms(fc) = 20;
    EXPECT_STATUS(read(first), -ETIME);
    answers = kept;
    fc_access::timeout_ms(fc) = 1000;
    EXPECT_STATUS(read(first), 0);
    EXPECT_STATUS(ops.start(first), 0) << "a read has started it";
    ::close(elsewhere[0]);
    ::close(elsewhere[1]);
}

TEST_F(pcm_owner, a_start_that_is_not_sent_is_none) {
    ASSERT_STATUS(set_params(first), 0);
    int& commands = fc_access::command_pipe(fc)[1];
    const int kept = std::exchange(commands, 1 << 20);
    EXPECT_STATUS(ops.start(first), -EIO);
    commands = kept;
    EXPECT_STATUS(read(first), 0);
}

TEST_F(pcm_owner, a_status_without_an_error_number_is_told_as_eio) {
    fail_call(call::mixer_open, 1, 0);
    errno = 0;
    EXPECT_EQ(set_params(first), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_STATUS(set_params(second), 0) << "the stream is nobody's";
}

// The worker waits in the card's read, so a command would take until its time-out.
TEST_F(pcm_owner, refused_handles_send_no_command) {
    ASSERT_STATUS(set_params(first), 0);
    ASSERT_STATUS(read(first), 0);
    allow_reads(0);
    ASSERT_TRUE(eventually([] { return reads_waiting() == 1; }));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_STATUS(set_params(second), -EINVAL);
    EXPECT_TRUE(log_has("hw_params", "the stream belongs to another handle"));
    EXPECT_STATUS(ops.start(second), -EINVAL);
    EXPECT_STATUS(read(second), -EINVAL);
    EXPECT_STATUS(close(open()), 0);
    EXPECT_STATUS(close(second), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms);
    allow_reads(-1);
    EXPECT_STATUS(read(first), 0);
}

TEST_F(pcm_owner, a_handle_is_refused_at_once_while_another_is_being_opened) {
    ASSERT_STATUS(set_params(first), 0);
    ASSERT_STATUS(read(first), 0);
    allow_reads(0);
    ASSERT_TRUE(eventually([] { return reads_waiting() == 1; }));
    fc_access::timeout_ms(fc) = 20;
    EXPECT_STATUS(ops.close(first), -ETIME);
    fc_access::timeout_ms(fc) = 5000;
    clear_log();
    auto opened = std::async(std::launch::async, [this] { return set_params(second); });
    ASSERT_TRUE(eventually([] { return log_has("open FC with"); }));
    EXPECT_STATUS(set_params(third), -EINVAL);
    EXPECT_STATUS(ops.start(third), -EINVAL);
    EXPECT_STATUS(close(open()), 0);
    EXPECT_EQ(opened.wait_for(0s), std::future_status::timeout);
    allow_reads(-1);
    EXPECT_EQ(opened.get(), 0);
    EXPECT_STATUS(read(second), 0);
    fc_access::timeout_ms(fc) = 1000;
}

}  // namespace
