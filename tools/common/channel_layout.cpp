#include "channel_layout.h"

#include <algorithm>
#include <iterator>
#include <sstream>

#include "zel_channel_mixing.h"

namespace {

constexpr std::size_t kOfTheCard = 9;
constexpr struct {
    const char* layout;
    const char* channels;
} kLayouts[] = {{"1.0", "FC"},
                {"2.0", "FL FR"},
                {"4.0", "FL FR BL BR"},
                {"5.1", "FL FR FC LFE BL BR"},
                {"7.1", "FL FR FC LFE BL BR SL SR"},
                {"7.1.4", "FL FR FC LFE BL BR SL SR TFL TFR TBL TBR"},
                {"5.1.2", "FL FR FC LFE BL BR TSL TSR"},
                {"5.1.4", "FL FR FC LFE BL BR TFL TFR TBL TBR"},
                {"7.1.2", "FL FR FC LFE BL BR SL SR TSL TSR"},
                {"2.1", "FL FR LFE"},
                {"3.0", "FL FR FC"},
                {"3.1", "FL FR FC LFE"},
                {"4.1", "FL FR LFE BL BR"},
                {"5.0", "FL FR FC BL BR"},
                {"7.0", "FL FR FC BL BR SL SR"}};

}  // namespace

const std::vector<std::string>& card_layouts() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        std::transform(kLayouts, kLayouts + kOfTheCard, std::back_inserter(all),
                       [](const auto& row) { return row.layout; });
        return all;
    }();
    return names;
}

std::string card_layout_of(unsigned int channels) {
    const std::string* best = &card_layouts().front();
    for (const std::string& layout : card_layouts()) {
        const unsigned int count = zel_channel_mixing::channel_count(layout);
        if (count <= channels && count > zel_channel_mixing::channel_count(*best)) {
            best = &layout;
        }
    }
    return *best;
}

std::vector<std::string> channel_names(const std::string& layout) {
    const auto* const row = std::find_if(std::begin(kLayouts), std::end(kLayouts),
                                         [&](const auto& one) { return one.layout == layout; });
    std::istringstream words(row != std::end(kLayouts) ? row->channels : "");
    return {std::istream_iterator<std::string>(words), {}};
}

std::string channel_text(std::size_t channel, const std::vector<std::string>& names) {
    return std::to_string(channel) + (channel < names.size() ? " " + names[channel] : "");
}

std::vector<std::string> output_names(unsigned int outputs, const std::vector<std::string>& in) {
    return outputs == in.size() ? in
                                : channel_names(outputs == 3 ? "3.0" : card_layout_of(outputs));
}

std::string channels_text(unsigned int count) {
    return std::to_string(count) + (count == 1 ? " channel" : " channels");
}
