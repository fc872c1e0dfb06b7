#include "channel_layout.h"

#include <cstdio>
#include <map>

#include "zel_channel_mixing.h"

namespace {

/// By the first field of a layout's name. The channel for low frequencies follows the front ones.
const std::map<int, std::vector<std::string>>& main_channels() {
    static const std::map<int, std::vector<std::string>> names{
        {1, {"FC"}},
        {2, {"FL", "FR"}},
        {3, {"FL", "FR", "FC"}},
        {4, {"FL", "FR", "BL", "BR"}},
        {5, {"FL", "FR", "FC", "BL", "BR"}},
        {7, {"FL", "FR", "FC", "BL", "BR", "SL", "SR"}}};
    return names;
}

/// By the third field.
const std::map<int, std::vector<std::string>>& height_channels() {
    static const std::map<int, std::vector<std::string>> names{
        {0, {}}, {2, {"TSL", "TSR"}}, {4, {"TFL", "TFR", "TBL", "TBR"}}};
    return names;
}

}  // namespace

const std::vector<std::string>& card_layouts() {
    static const std::vector<std::string> names{"1.0",   "2.0",   "4.0",   "5.1",  "7.1",
                                                "7.1.4", "5.1.2", "5.1.4", "7.1.2"};
    return names;
}

std::string card_layout_of(unsigned int channels) {
    const std::string* best = nullptr;
    unsigned int most = 0;
    for (const std::string& layout : card_layouts()) {
        const unsigned int count = zel_channel_mixing::channel_count(layout);
        if (count <= channels && count > most) {
            best = &layout;
            most = count;
        }
    }
    return best != nullptr ? *best : card_layouts().front();
}

std::vector<std::string> channel_names(const std::string& layout) {
    int main = 0;
    int low = 0;
    int height = 0;
    int length = 0;
    const auto whole = [&] { return static_cast<std::size_t>(length) == layout.size(); };
    std::sscanf(layout.c_str(), "%1d.%1d%n", &main, &low, &length);
    if (!whole()) {
        std::sscanf(layout.c_str(), "%1d.%1d.%1d%n", &main, &low, &height, &length);
    }
    const auto around = main_channels().find(main);
    const auto above = height_channels().find(height);
    if (!whole() || around == main_channels().end() || above == height_channels().end() ||
        low < 0 || low > 1) {
        return {};
    }
    std::vector<std::string> names;
    for (const std::string& name : around->second) {
        const bool front = name[0] == 'F';
        if (low == 1 && !front && names.back()[0] == 'F') {
            names.emplace_back("LFE");
        }
        names.push_back(name);
    }
    if (low == 1 && names.back()[0] == 'F') {
        names.emplace_back("LFE");
    }
    names.insert(names.end(), above->second.begin(), above->second.end());
    return names;
}

std::vector<std::string> output_names(unsigned int outputs, const std::vector<std::string>& in) {
    if (outputs == in.size()) {
        return in;
    }
    switch (outputs) {
        case 1:
            return {"mono"};
        case 2:
            return {"L", "R"};
        default:
            return channel_names(card_layout_of(outputs));
    }
}
