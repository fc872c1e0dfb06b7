// The mixer's change events: who is told, and that nobody is told too late.

#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "converter_access.h"
#include "mixer_record.h"
#include "test_basics.h"

using namespace zel_test;

namespace {

/// What tinyalsa's own callback does to the record.
void count_event(mixer_plugin* plugin) {
    ++plugin->event_cnt;
}

/// The converter's news of a restarted stream, as its worker tells it.
void restart_done() {
    zel_format_converter& fc = zel_format_converter::getInstance();
    fc_access::pending(fc) = true;
    fc_access::notify(fc);
}

TEST(mixer_events, the_record_that_subscribed_last_is_told_until_it_unsubscribes) {
    use_card_of_all_kinds();
    const mixer_record first, second;
    restart_done();
    const struct {
        const mixer_record& record;
        mixer_event_callback callback;
        int first_told, second_told;  ///< of restarts so far
    } steps[] = {
        {first, count_event, 1, 0},
        {second, count_event, 1, 1},
        {second, nullptr, 1, 1},
        {second, count_event, 1, 2},
        // An unsubscribe replaces what another record had registered, too.
        {first, nullptr, 1, 2},
    };
    for (const auto& step : steps) {
        ASSERT_STATUS(mixer_ops::subscribe_events(step.record.plugin, step.callback), 0);
        EXPECT_EQ(step.record.plugin->priv, reinterpret_cast<void*>(step.callback));
        restart_done();
        EXPECT_EQ(first.plugin->event_cnt, step.first_told);
        EXPECT_EQ(second.plugin->event_cnt, step.second_told);
    }
}

TEST(mixer_events, a_closed_record_is_never_told) {
    use_card_of_all_kinds();
    const mixer_record kept;
    ASSERT_STATUS(mixer_ops::subscribe_events(kept.plugin, count_event), 0);
    {
        const mixer_record other;  // closing it leaves the subscription of `kept` alone
    }
    restart_done();
    EXPECT_EQ(kept.plugin->event_cnt, 1);
    for (const bool unsubscribe : {false, true}) {
        const mixer_record closed;
        ASSERT_STATUS(mixer_ops::subscribe_events(closed.plugin, count_event), 0);
        if (unsubscribe) {
            ASSERT_STATUS(mixer_ops::subscribe_events(closed.plugin, nullptr), 0);
        }
    }
    restart_done();  // under the address sanitizer a call would be seen
    EXPECT_EQ(kept.plugin->event_cnt, 1);
}

/// Another thread inside the converter's callback, until the end.
class call_under_way {
  public:
    call_under_way() {
        zel_format_converter& fc = zel_format_converter::getInstance();
        fc.register_cb([this](void*) { run(); }, this);
        caller = std::thread(restart_done);
        entered.get_future().wait();
    }
    void end() {
        release.set_value();
        caller.join();
    }

  private:
    void run() {
        entered.set_value();
        release.get_future().wait();
    }
    std::promise<void> entered, release;
    std::thread caller;
};

TEST(mixer_events, a_record_is_ready_before_it_is_registered_and_whole_until_it_is_withdrawn) {
    use_card_of_all_kinds();
    mixer_plugin* plugin = nullptr;
    ASSERT_STATUS(mixer_ops::open(&plugin, 70), 0);
    call_under_way subscribing;
    auto subscribed = std::async(std::launch::async,
                                 [=] { return mixer_ops::subscribe_events(plugin, count_event); });
    EXPECT_TRUE(eventually([=] { return __atomic_load_n(&plugin->priv, __ATOMIC_ACQUIRE); }))
        << "an event that comes at once finds the record's callback";
    EXPECT_NE(subscribed.wait_for(std::chrono::milliseconds(20)), std::future_status::ready);
    EXPECT_TRUE(fc_access::pending(zel_format_converter::getInstance())) << "until it is over";
    snd_ctl_elem_value level{};
    EXPECT_STATUS(mixer_ops::get(plugin, &plugin->controls[2], &level), 0) << "nobody else waits";
    subscribing.end();
    EXPECT_STATUS(subscribed.get(), 0);

    call_under_way closing;
    mixer_plugin* const record = plugin;
    auto closed = std::async(std::launch::async, [&plugin] { mixer_ops::close(&plugin); });
    EXPECT_NE(closed.wait_for(std::chrono::milliseconds(50)), std::future_status::ready);
    EXPECT_EQ(record->num_controls, 7U) << "the callback may look at them";
    closing.end();
    closed.wait();
}

TEST(mixer_events, closing_takes_tinyalsas_descriptor_along) {
    use_card_of_all_kinds();
    mixer_plugin* plugin = nullptr;
    ASSERT_STATUS(mixer_ops::open(&plugin, 70), 0);
    EXPECT_EQ(zel_format_converter::getInstance().close(), 0) << "its worker has its descriptors";
    const int output = dup(STDOUT_FILENO);
    close(STDOUT_FILENO);
    plugin->eventfd = eventfd(0, 0);
    mixer_ops::close(&plugin);
    EXPECT_EQ(plugin, nullptr);
    EXPECT_EQ(fcntl(STDOUT_FILENO, F_GETFD), -1) << "1 is a number like others";
    dup2(output, STDOUT_FILENO);
    close(output);
}

TEST(mixer_events, one_pending_event_is_read_as_a_change_of_numid_0) {
    use_card_of_all_kinds();
    const mixer_record opened;
    snd_ctl_event event;
    std::memset(&event, 0xFF, sizeof(event));
    EXPECT_STATUS(mixer_ops::read_event(opened.plugin, &event, sizeof(event)), 0);
    const snd_ctl_event zero{};
    EXPECT_EQ(std::memcmp(&event, &zero, sizeof(event)), 0);

    opened.plugin->event_cnt = 2;
    snd_ctl_event events[2];
    std::memset(events, 0xFF, sizeof(events));
    EXPECT_EQ(mixer_ops::read_event(opened.plugin, events, 100), 100);
    EXPECT_EQ(opened.plugin->event_cnt, 2) << "the count is tinyalsa's";
    snd_ctl_event wanted{};
    wanted.type = SNDRV_CTL_EVENT_ELEM;
    wanted.data.elem.mask = 1;
    wanted.data.elem.id.iface = SNDRV_CTL_ELEM_IFACE_MIXER;
    wanted.data.elem.id.device = 70;
    EXPECT_EQ(std::memcmp(events, &wanted, sizeof(wanted)), 0);
    EXPECT_EQ(reinterpret_cast<unsigned char*>(&events[1])[0], 0xFF) << "one event is written";

    std::memset(&event, 0xFF, sizeof(event));
    for (const std::size_t size : {std::size_t{0}, std::size_t{71}}) {
        errno = 0;
        EXPECT_STATUS(mixer_ops::read_event(opened.plugin, &event, size), -EINVAL);
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(reinterpret_cast<unsigned char*>(&event)[0], 0xFF) << "nothing is written";
}

TEST(mixer_events, null_pointers_are_refused_by_name) {
    use_card_of_all_kinds();
    const mixer_record opened;
    snd_ctl_event event{};
    EXPECT_STATUS(mixer_ops::subscribe_events(nullptr, count_event), -EINVAL);
    EXPECT_STATUS(mixer_ops::read_event(nullptr, &event, sizeof(event)), -EINVAL);
    EXPECT_EQ(log_count("pstMixerPlugin is null"), 2U);
    EXPECT_STATUS(mixer_ops::read_event(opened.plugin, nullptr, sizeof(event)), -EINVAL);
    EXPECT_TRUE(log_has("pstSndCtlEvent is null"));
    mixer_ops::event_callback(nullptr);
    mixer_ops::event_callback(opened.plugin);  // nobody subscribed
    EXPECT_EQ(opened.plugin->event_cnt, 0);
}

}  // namespace
