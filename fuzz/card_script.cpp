#include "card_script.h"

#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "scripted_tinyalsa.h"

namespace {

using zel_test::call;

/// Slow enough that the worker leaves the client some of the machine.
int deliver(void* data, unsigned int frames, const pcm_config& config) {
    const timespec pause{0, 20'000};
    nanosleep(&pause, nullptr);
    std::memset(data, zel_fuzz::kSampleByte,
                std::size_t{frames} * config.channels * (pcm_format_to_bits(config.format) / 8));
    return static_cast<int>(frames);
}

void change_control(zel_fuzz::input& in) {
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

void fail_call(zel_fuzz::input& in) {
    const auto function = static_cast<call>(in.below(static_cast<std::uint32_t>(call::count)));
    const int nth = static_cast<int>(1 + in.below(4));
    const int times = static_cast<int>(1 + in.below(12));
    zel_test::fail_call(function, nth, static_cast<int>(in.below(200)) - 150, times);
}

}  // namespace

namespace zel_fuzz {

void reset_card() {
    zel_test::reset_script();
    zel_test::skip_waits();
    zel_test::set_source(deliver);
    zel_test::allow_reads(-1);
}

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

}  // namespace zel_fuzz
