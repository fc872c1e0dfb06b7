// The operations of the virtual capture stream on any records in any order, by two clients over a
// card that changes and fails. Afterwards a clean stream must still work.

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <ctime>

#include "captured_log.h"
#include "client_params.h"
#include "fuzz_input.h"
#include "scripted_tinyalsa.h"
#include "zel_format_converter.h"
#include "zel_format_converter_pcm_plugin.h"
#include "zel_stream_owner.h"

namespace {

namespace ops = zel_format_converter_pcm_plugin;
using zel_fuzz::input;
using zel_test::client_params;
using zel_test::kS16;
using zel_test::kS32;

/// Every byte of the samples that the card delivers.
constexpr std::uint8_t kSampleByte = 1;
/// What a sleep of a thread really takes, below a second.
constexpr std::chrono::microseconds kNoPatience{20};
thread_local std::chrono::nanoseconds slept{0};
thread_local std::chrono::nanoseconds patience = kNoPatience;

using zel_test::call;

/// Slow enough that the worker leaves the client some of the machine.
int deliver(void* data, unsigned int frames, const pcm_config& config) {
    const timespec pause{0, 20'000};
    nanosleep(&pause, nullptr);
    std::memset(data, kSampleByte,
                std::size_t{frames} * config.channels * (pcm_format_to_bits(config.format) / 8));
    return static_cast<int>(frames);
}

void change_control(input& in) {
    constexpr int kFormats[] = {2, 6, 10, 0, -1};
    constexpr int kChannels[] = {1, 2, 6, 8, 12, 0, 3, 16, 255, -EINVAL};
    constexpr int kRates[] = {48000, 16000, 44100, 96000, 999, 0, -EINVAL};
    switch (in.below(5)) {
        case 0:
            return zel_test::set_control("PCM Slave Format", in.one_of(kFormats));
        case 1:
            return zel_test::set_control("PCM Slave Channels", in.one_of(kChannels));
        case 2:
            return zel_test::set_control("PCM Slave Rate", in.one_of(kRates));
        case 3:
            return zel_test::set_control("PCM Slave Active", static_cast<int>(in.below(2)));
        default:
            return zel_test::set_control("PCM Channel Layout", static_cast<int>(in.below(6)) - 1);
    }
}

void fail_call(input& in) {
    const auto function = static_cast<call>(in.below(static_cast<std::uint32_t>(call::count)));
    const int nth = static_cast<int>(1 + in.below(4));
    const int times = static_cast<int>(1 + in.below(12));
    zel_test::fail_call(function, nth, static_cast<int>(in.below(200)) - 150, times);
}

/// A card that works, delivers at once, and of which no event is waited for. Only while no stream
/// is open: the worker holds controls of it.
void reset_card() {
    zel_test::reset_script();
    zel_test::skip_waits();
    zel_test::set_source(deliver);
    zel_test::allow_reads(-1);
}

/// Changes a control of the card, announces a change, or makes a call of the card fail.
void disturb_card(input& in) {
    constexpr unsigned int kEvents[] = {1, 6, 0, 2};
    switch (in.below(5)) {
        case 0:
            return change_control(in);
        case 1:
            return zel_test::push_event(in.one_of(kEvents));
        case 2:
            return fail_call(in);
        case 3:
            return zel_test::refuse_rate(in.below(2) != 0 ? 16000 : 48000,
                                         in.below(4) != 0 ? "cannot set hw params" : "busy");
        default:
            return zel_test::set_timestamps(
                {{static_cast<time_t>(in.word()), static_cast<long>(in.word() % 1'000'000'000)}},
                in.word());
    }
}

constexpr std::size_t kClients = 2;
constexpr unsigned int kHuge = 0xFFFFFFFF;

constexpr client_params kCleanParams{2, 48000, 1536, 4, 16, kS16};

client_params take_params(input& in) {
    constexpr unsigned int kChannels[] = {2, 1, 6, 8, 0, 3, 9, 16, kHuge};
    constexpr unsigned int kRates[] = {48000, 16000, 44100, 96000, 999, 0, 8000, 1000};
    constexpr unsigned int kPeriodSizes[] = {1536, 512, 1024, 0, 1, 4096, kHuge};
    constexpr unsigned int kPeriods[] = {4, 1, 2, 16, 0, kHuge};
    constexpr unsigned int kBits[] = {16, 32, 24, 0};
    constexpr unsigned int kMasks[] = {kS16, kS32, kS16 | kS32, 0, kHuge};
    // Separate statements: taken in this order.
    client_params params{};
    params.channels = in.one_of(kChannels);
    params.rate = in.one_of(kRates);
    params.period_size = in.one_of(kPeriodSizes);
    params.periods = in.one_of(kPeriods);
    params.sample_bits = in.one_of(kBits);
    params.format_mask = in.one_of(kMasks);
    return params;
}

int set_params(pcm_plugin* plugin, const client_params& wanted) {
    snd_pcm_hw_params params = wanted.record();
    return ops::hw_params(plugin, &params);
}

/// What tinyalsa does with an operation's status.
int check_status(int status) {
    ZEL_FUZZ_CHECK(status <= 0 && status >= -4095);
    ZEL_FUZZ_CHECK(status == 0 || errno == (status == -1 ? EIO : -status));
    return status;
}

/// Reads into a block that has room for just the frames asked for, in the handle's format; for
/// none when its parameters were refused.
std::vector<std::uint8_t> read(pcm_plugin* plugin, unsigned int frames) {
    const auto& config = *static_cast<const pcm_config*>(plugin->priv);
    const std::size_t frame_bytes =
        zel_owns_stream(plugin)
            ? std::size_t{pcm_format_to_bits(config.format) / 8} * config.channels
            : 0;
    std::vector<std::uint8_t> block(frames * frame_bytes);
    std::uint8_t nothing = 0;
    snd_xferi xferi{-1, block.empty() ? &nothing : block.data(), frames};
    const int status = check_status(ops::readi_frames(plugin, &xferi));
    ZEL_FUZZ_CHECK(xferi.result >= 0 && static_cast<unsigned long>(xferi.result) <= frames);
    ZEL_FUZZ_CHECK(status == 0 || xferi.result == 0);
    const bool waits = (plugin->mode & static_cast<int>(PCM_NONBLOCK)) == 0;
    ZEL_FUZZ_CHECK(status != 0 || !waits || static_cast<unsigned long>(xferi.result) == frames);
    block.resize(static_cast<std::size_t>(xferi.result) * frame_bytes);
    return block;
}

class session {
  public:
    explicit session(input& bytes) : in(bytes) {
        reset_card();
        zel_format_converter::getInstance();  // finds its card before that can fail
    }
    ~session() {
        for (pcm_plugin* plugin : clients) {
            ZEL_FUZZ_CHECK(plugin == nullptr || ops::close(plugin) == 0);
        }
        ZEL_FUZZ_CHECK(zel_test::open_handles() == 0);
    }
    session(const session&) = delete;
    session& operator=(const session&) = delete;

    void step() {
        pcm_plugin*& plugin = clients[in.below(kClients)];
        if (plugin == nullptr) {
            open(plugin);
        }
        switch (in.below(9)) {
            case 0:
                if (check_status(ops::close(plugin)) == 0) {
                    plugin = nullptr;
                }
                break;
            case 1:
                check_status(set_params(plugin, take_params(in)));
                break;
            case 2:
                check_status(set_params(plugin, kCleanParams));
                break;
            case 3:
                check_status(ops::start(plugin));
                break;
            case 4:
                if (plugin != nullptr) {
                    read(plugin, in.below(4096));
                }
                break;
            case 5:
                sync_pointers(plugin);
                break;
            case 6:
                check_status(ops::prepare(plugin));
                check_status(ops::drain(plugin));
                check_status(ops::drop(plugin));
                break;
            default:
                disturb_card(in);
                break;
        }
    }

  private:
    void open(pcm_plugin*& plugin) {
        constexpr unsigned int kFlags[] = {PCM_IN, PCM_IN | PCM_NONBLOCK, PCM_IN | PCM_MONOTONIC,
                                           PCM_NONBLOCK};
        const unsigned int flags = in.one_of(kFlags);
        const int status = check_status(ops::open(&plugin, 70, 70, flags));
        ZEL_FUZZ_CHECK((status == 0) == (plugin != nullptr));
    }

    void sync_pointers(pcm_plugin* plugin) {
        snd_pcm_sync_ptr sync{};
        sync.c.control.appl_ptr = in.word();
        if (check_status(ops::sync_ptr(plugin, &sync)) == 0) {
            ZEL_FUZZ_CHECK(sync.s.status.hw_ptr >= sync.c.control.appl_ptr);
        }
    }

    input& in;
    pcm_plugin* clients[kClients] = {};
};

void check_clean_stream() {
    reset_card();
    pcm_plugin* plugin = nullptr;
    ZEL_FUZZ_CHECK(ops::open(&plugin, 70, 70, PCM_IN) == 0);
    ZEL_FUZZ_CHECK(set_params(plugin, kCleanParams) == 0);
    patience = std::chrono::milliseconds(5);
    const std::vector<std::uint8_t> block = read(plugin, kCleanParams.period_size);
    patience = kNoPatience;
    ZEL_FUZZ_CHECK(block.size() == std::size_t{kCleanParams.period_size} * 4);
    ZEL_FUZZ_CHECK(std::all_of(block.begin(), block.end(),
                               [](std::uint8_t byte) { return byte == kSampleByte; }));
    ZEL_FUZZ_CHECK(ops::close(plugin) == 0);
    ZEL_FUZZ_CHECK(zel_test::open_handles() == 0);
}

}  // namespace

// Replaces usleep and the steady clock for the whole executable: a thread that sleeps does not
// wait, but its clock goes on by as much. A read that gives up after ten seconds does so at once;
// `patience` is what a sleep takes meanwhile, for those that the worker must not miss.
extern "C" int usleep(useconds_t us) {
    slept += std::chrono::microseconds(us);
    const timespec turn{0, static_cast<long>(patience.count())};
    return nanosleep(&turn, nullptr);
}

std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return time_point(std::chrono::seconds(ts.tv_sec) + std::chrono::nanoseconds(ts.tv_nsec) +
                      slept);
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zel_test::clear_log();
    zel_fuzz::run_session<session>(data, size);
    check_clean_stream();
    return 0;
}
