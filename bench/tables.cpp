#include <cstdio>
#include <string>
#include <vector>

#include "block.h"
#include "zel_src_48k_state.h"

namespace {

/// Time of one benchmark over another's; 0 when one is missing.
double ratio(const block_times& times, const std::string& of, const std::string& to) {
    const auto a = times.find(of);
    const auto b = times.find(to);
    return a == times.end() || b == times.end() ? 0 : a->second / b->second;
}

void print_row(const std::string& name, const std::vector<double>& values) {
    std::printf("%-20s", name.c_str());
    for (const double value : values) {
        if (value > 0) {
            std::printf(" %7.2f", value);
        } else {
            std::printf(" %7s", "-");
        }
    }
    std::printf("\n");
}

void print_head(const char* title, const std::vector<std::string>& columns) {
    std::printf("\n%s\n%-20s", title, "");
    for (const std::string& column : columns) {
        std::printf(" %7s", column.c_str());
    }
    std::printf("\n");
}

void print_rate_conversion(const block_times& times) {
    std::vector<std::string> columns;
    for (int c = 1; c <= 8; ++c) {
        columns.push_back(std::to_string(c) + " ch");
    }
    print_head("48 to 16 kHz: speed as a multiple of soxr HQ's", columns);
    std::vector<double> soxr;
    for (int c = 1; c <= 8; ++c) {
        const auto found = times.find("soxr_hq/" + std::to_string(c));
        soxr.push_back(found == times.end() ? 0 : found->second / 1000);
    }
    print_row("soxr_hq, us", soxr);
    std::vector<std::string> rows = {"speexdsp_q8", "swresample_64"};
    for (const std::uint32_t lanes : filter_widths()) {
        rows.push_back("src/" + width_name(lanes));
    }
    for (const std::string& row : rows) {
        std::vector<double> values;
        for (int c = 1; c <= 8; ++c) {
            const std::string channels = "/" + std::to_string(c);
            values.push_back(ratio(times, "soxr_hq" + channels, row + channels));
        }
        print_row(row, values);
    }
}

void print_mixing(const block_times& times) {
    const std::vector<std::string> shapes = {"8to8_16", "8to8_32", "8to2_16", "8to2_32",
                                             "12to8_16"};
    const auto print = [&](const std::string& stage, const std::string& peer) {
        std::vector<double> values;
        for (const std::string& shape : shapes) {
            values.push_back(ratio(times, peer + shape, stage + "/" + shape));
        }
        print_row(stage, values);
    };
    print_head("mixing, dense: speed as a multiple of the plain loop's", shapes);
    print("mixing", "mixing_plain/");
    print_head("mixing, dense: speed as a multiple of libswresample's", shapes);
    print("mixing_plain", "swresample_mix/");
    print("mixing", "swresample_mix/");
}

void print_copying(const block_times& times) {
    constexpr const char* kChannels[] = {"/2", "/6", "/8"};
    print_head("copying stages: us, and as a multiple of memcpy's for the same bytes",
               {"2 ch", "6 ch", "8 ch", "2 ch", "6 ch", "8 ch"});
    for (const char* stage : {"truncation", "padding", "bypass_16", "identity_16", "identity_32",
                              "permutation_16", "permutation_32", "delay_equal_16",
                              "delay_distinct_16", "delay_distinct_32", "ring_buffer"}) {
        const std::string name(stage);
        const bool both = name == "truncation" || name == "padding";
        const std::string bytes = both ? "mean" : name.ends_with("32") ? "32" : "16";
        const double copies = name == "ring_buffer" ? 2 : 1;  // one copy in, one out
        std::vector<double> values;
        for (const char* channels : kChannels) {
            const auto found = times.find(name + channels);
            values.push_back(found == times.end() ? 0 : found->second / 1000);
        }
        for (const char* channels : kChannels) {
            values.push_back(ratio(times, name + channels, "memcpy_" + bytes + channels) / copies);
        }
        print_row(name, values);
    }
}

void print_chain(const block_times& times) {
    print_head("whole chain, 8 channels, 32 bits, 48 kHz to 16 bits, 16 kHz", {"/ soxr", "us"});
    for (const std::uint32_t lanes : filter_widths()) {
        const std::string name = "chain/" + width_name(lanes);
        const auto found = times.find(name);
        print_row(name, {ratio(times, name, "soxr_hq/8"),
                         found == times.end() ? 0 : found->second / 1000});
    }
    const std::vector<std::size_t> lengths = {162, 480, 1536, 24576};
    std::vector<std::string> columns;
    for (const std::size_t frames : lengths) {
        columns.push_back(std::to_string(frames));
    }
    print_head("48 to 16 kHz, 8 and 2 channels: time per frame over a 1536-frame block's", columns);
    for (const std::uint32_t lanes : filter_widths()) {
        for (const char* channels : {"/8", "/2"}) {
            const std::string name = "length/" + width_name(lanes) + channels;
            std::vector<double> values;
            for (const std::size_t frames : lengths) {
                values.push_back(ratio(times, name + "/" + std::to_string(frames), name + "/1536") *
                                 1536 / static_cast<double>(frames));
            }
            print_row(name, values);
        }
    }
}

}  // namespace

std::vector<std::uint32_t> filter_widths() {
    return zel_src_widest_lanes() == 8 ? std::vector<std::uint32_t>{0, 4, 8}
                                       : std::vector<std::uint32_t>{0, 4};
}

std::string width_name(std::uint32_t lanes) {
    return lanes == 0 ? "frames" : std::to_string(lanes) + "_lanes";
}

void print_tables(const block_times& times) {
    print_rate_conversion(times);
    print_mixing(times);
    print_copying(times);
    print_chain(times);
}
