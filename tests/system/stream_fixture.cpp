#include "stream_fixture.h"

#include <unistd.h>

namespace zel_test {

void stream_fixture::SetUpTestSuite() {
    setenv("ZEL_VOICE_CONFIG_DIR", write_coefficients(), 1);
}

void stream_fixture::SetUp() {
    card = mixer_open(0);
    ASSERT_NE(card, nullptr);
    choose("Sim Pacing", "Step");
    choose("Loopback Signal", "Ramp");
    choose("PCM Channel Layout", "1.0");
    set("PCM Slave Rate", 48000);
    clear_log();
}

void stream_fixture::TearDown() {
    close();
    mixer_close(card);
}

int stream_fixture::value(const char* control) const {
    return mixer_ctl_get_value(mixer_get_ctl_by_name(card, control), 0);
}

void stream_fixture::set_on(mixer* handle, const char* control, int wanted) {
    ASSERT_EQ(mixer_ctl_set_value(mixer_get_ctl_by_name(handle, control), 0, wanted), 0) << control;
}

void stream_fixture::choose_on(mixer* handle, const char* control, const char* item) {
    ASSERT_EQ(mixer_ctl_set_enum_by_string(mixer_get_ctl_by_name(handle, control), item), 0)
        << control;
}

void stream_fixture::set_card(const stream_setup& setup) {
    set("PCM Slave Format", setup.card_bits == 16 ? 2 : setup.card_bits == 24 ? 6 : 10);
    set("PCM Slave Channels", static_cast<int>(setup.card_channels));
}

bool stream_fixture::open(const stream_setup& setup, unsigned int period_size,
                          unsigned int period_count) {
    current = setup;
    pcm_config config{};
    config.channels = setup.client_channels;
    config.rate = setup.client_rate;
    config.period_size = period_size;
    config.period_count = period_count;
    config.format = setup.client_bits == 32 ? PCM_FORMAT_S32_LE : PCM_FORMAT_S16_LE;
    stream = pcm_open(70, 70, PCM_IN | PCM_MONOTONIC, &config);
    return pcm_is_ready(stream) != 0;
}

void stream_fixture::open_and_start(const stream_setup& setup, unsigned int period_count) {
    set_card(setup);
    bool started = false;
    int reads = 0;
    // On a machine that is overloaded a command may take longer than its second.
    for (int attempt = 0; attempt < 5 && !started; ++attempt) {
        choose("Sim Pacing", "Step");
        if (open(setup, setup.client_rate / 1000 * 32, period_count)) {
            reads = value("Sim Reads");
            started = pcm_prepare(stream) == 0 && pcm_start(stream) == 0;
        }
        ASSERT_TRUE(started || errno == ETIME) << pcm_get_error(stream);
        if (!started) {
            close();
        }
    }
    ASSERT_TRUE(started);
    ASSERT_TRUE(wait_for_read_after(reads));
}

void stream_fixture::close() {
    choose("Sim Pacing", "Fast");
    if (stream != nullptr) {
        pcm_close(stream);
    }
    stream = nullptr;
}

bool stream_fixture::wait_for_read_after(int reads) const {
    for (int i = 0; i < 250'000 && value("Sim Reads") == reads; ++i) {
        usleep(20);
    }
    return value("Sim Reads") != reads;
}

void stream_fixture::grant_block() {
    const int reads = value("Sim Reads");
    set("Sim Granted Frames", 1536);
    ASSERT_TRUE(wait_for_read_after(reads));
}

std::vector<std::int32_t> stream_fixture::read(unsigned int frames) {
    std::vector<std::uint8_t> buffer(pcm_frames_to_bytes(stream, frames));
    EXPECT_EQ(pcm_readi(stream, buffer.data(), frames), static_cast<int>(frames))
        << pcm_get_error(stream);
    std::vector<std::int32_t> samples(std::size_t{frames} * current.client_channels);
    const std::uint8_t* from = buffer.data();
    for (std::int32_t& sample : samples) {
        std::int16_t narrow = 0;
        if (current.client_bits == 32) {
            std::memcpy(&sample, from, 4);
            from += 4;
        } else {
            std::memcpy(&narrow, from, 2);
            sample = narrow;
            from += 2;
        }
    }
    return samples;
}

std::vector<std::int32_t> stream_fixture::read_blocks(unsigned int blocks) {
    std::vector<std::int32_t> samples;
    for (unsigned int b = 0; b < blocks; ++b) {
        grant_block();
        const std::vector<std::int32_t> block = read(block_frames());
        samples.insert(samples.end(), block.begin(), block.end());
    }
    return samples;
}

stream_fixture::position stream_fixture::newest() const {
    timespec time{};
    unsigned int left = 0;
    EXPECT_STATUS(pcm_get_htimestamp(stream, &left, &time), 0);
    return {time.tv_sec * 1'000'000'000LL + time.tv_nsec, left};
}

void virtual_card_fixture::SetUp() {
    stream_fixture::SetUp();
    virtual_card = mixer_open(70);
    ASSERT_NE(virtual_card, nullptr);
    ASSERT_STATUS(mixer_subscribe_events(virtual_card, 1), 0);
}

void virtual_card_fixture::TearDown() {
    mixer_close(virtual_card);
    stream_fixture::TearDown();
}

int virtual_card_fixture::take_events() {
    int count = 0;
    for (mixer_ctl_event event{}; mixer_wait_event(virtual_card, 0) == 1; ++count) {
        EXPECT_EQ(mixer_read_event(virtual_card, &event), 1);
        EXPECT_EQ(event.data.element.id.numid, 0U);
        EXPECT_EQ(event.data.element.id.device, 70U);
    }
    return count;
}

}  // namespace zel_test
