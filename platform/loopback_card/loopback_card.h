#pragma once

#include <tinyalsa/plugin.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

/// The card's controls; the value is the control's index and numid.
enum control_id : unsigned int {
    CTL_VOLUME,
    CTL_SLAVE_ACTIVE,
    CTL_SLAVE_FORMAT,
    CTL_SLAVE_CHANNELS,
    CTL_SLAVE_RATE,
    CTL_SIGNAL,
    CTL_LAYOUT,
    CTL_CALIBRATION,
    CTL_TUNING,
    CTL_LAST_OF_CARD = CTL_TUNING,  ///< those after it belong to the simulator: no events
    CTL_WAV_FILE,
    CTL_PACING,
    CTL_GRANTED_FRAMES,
    CTL_FAULT_OPEN,
    CTL_FAULT_SHORT_READ,
    CTL_FAULT_READ_ERROR,
    CTL_FAULT_STALL,
    CTL_FAULT_CLOCK_JUMP,
    CTL_READS,
    CTL_COUNT,
};

enum signal_kind {
    SIGNAL_TONES,
    SIGNAL_RAMP,
    SIGNAL_CHIRP,
    SIGNAL_IMPULSE,
    SIGNAL_SILENCE,
    SIGNAL_WAV,
    SIGNAL_WAV_ONCE
};
enum pacing_kind { PACING_CLOCK, PACING_FAST, PACING_STEP };

enum class value_kind { integer, enumerated, bytes, tlv_bytes };

struct control_info {
    const char* name;
    value_kind kind;
    unsigned int count;  ///< elements, or bytes
    int min;
    int max;  ///< of an enumerated control the last item
    int initial;
    const char* const* texts;
};

/// The table of controls, by control_id.
const control_info& info_of(unsigned int id);

/// The one simulated card of the process: the values of its controls and who wants to hear of their
/// changes. Outlives every handle. Any thread.
class loopback_card {
  public:
    static loopback_card& instance();

    int integer(unsigned int id, unsigned int element = 0);
    /// Sets the elements of an integer or enumerated control. 0, or -22 with nothing changed.
    int set_integers(unsigned int id, const std::vector<int>& wanted);
    std::vector<unsigned char> bytes(unsigned int id);
    /// Sets the first bytes of a bytes control. 0, or -22 with nothing changed.
    int set_bytes(unsigned int id, const unsigned char* data, std::size_t count);
    /// Sets a control from text: a number, an item's name, or a text. 0 or -22.
    int set_text(const std::string& name, const std::string& text);

    /// Uses up one of a fault's counts; true while there is one.
    bool take_fault(unsigned int id);
    /// Takes a control's value and leaves 0.
    int take_value(unsigned int id);
    /// Takes up to `frames` granted frames, waiting for the first as long as the pacing is Step.
    /// 0 when it isn't any more.
    std::uint32_t take_granted(std::uint32_t frames);
    /// Counts a read of the capture stream that has begun.
    void count_read();

    void subscribe(mixer_plugin* record, mixer_event_callback callback);
    void unsubscribe(mixer_plugin* record);
    /// The next pending event of a record as a control's index; false when there is none.
    bool next_event(mixer_plugin* record, unsigned int* id);

  private:
    struct value {
        std::vector<int> integers;
        std::vector<unsigned char> bytes;
    };
    struct subscriber {
        mixer_plugin* record;
        mixer_event_callback callback;
        std::vector<unsigned int> pending;  ///< each control once, oldest first
    };

    loopback_card();
    void apply_presets(const char* presets);
    void raise_event(unsigned int id);
    void raise_events_of(unsigned int id);

    std::mutex lock;
    std::condition_variable changed;
    std::vector<value> values;
    std::mutex callback_lock;  ///< held while callbacks run; taken before the next one
    std::mutex subscriber_lock;
    std::vector<subscriber> subscribers;
};
