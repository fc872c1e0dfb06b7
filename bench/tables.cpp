#include <cstdio>
#include <string>
#include <vector>

#include "block.h"
#include "zel_kernel_choice.h"

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

std::vector<std::string> kernels() {
    std::vector<std::string> names;
    for (const zel_kernel_set& set : zel_kernel_sets()) {
        if (set.supported()) {
            names.emplace_back(set.name);
        }
    }
    return names;
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
    for (const std::string& kernel : kernels()) {
        rows.push_back("src/" + kernel);
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
    const auto print = [&](const char* title, const std::string& peer) {
        print_head(title, shapes);
        for (const std::string& kernel : kernels()) {
            std::vector<double> values;
            for (const std::string& shape : shapes) {
                values.push_back(ratio(times, peer + shape, "mixing/" + kernel + "/" + shape));
            }
            print_row("mixing/" + kernel, values);
        }
    };
    print("mixing, dense: speed as a multiple of the plain loop's", "mixing/plain/");
    print("mixing, dense: speed as a multiple of libswresample's", "swresample_mix/");
}

void print_copying(const block_times& times) {
    const std::vector<std::string> columns = {"2 ch", "6 ch", "8 ch"};
    print_head("copying stages: time as a multiple of memcpy's for the same bytes", columns);
    for (const std::string& kernel : kernels()) {
        for (const char* stage :
             {"truncation", "padding", "bypass_16", "identity_16", "identity_32", "permutation_16",
              "permutation_32", "delay_equal_16", "delay_distinct_16", "delay_distinct_32"}) {
            const std::string name(stage);
            const bool both = name == "truncation" || name == "padding";
            const std::string bytes = both ? "mean" : name.ends_with("32") ? "32" : "16";
            std::vector<double> values;
            for (const char* channels : {"/2", "/6", "/8"}) {
                values.push_back(
                    ratio(times, name + "/" + kernel + channels, "memcpy_" + bytes + channels));
            }
            print_row(name + "/" + kernel, values);
        }
    }
    std::vector<double> ring;
    for (const char* channels : {"/2", "/6", "/8"}) {
        // One copy in, one out.
        ring.push_back(ratio(times, std::string("ring_buffer") + channels,
                             std::string("memcpy_16") + channels) /
                       2);
    }
    print_row("ring_buffer", ring);
}

void print_chain(const block_times& times) {
    print_head("whole chain, 8 channels, 32 bits, 48 kHz to 16 bits, 16 kHz", {"/ soxr", "us"});
    for (const std::string& kernel : kernels()) {
        const auto found = times.find("chain/" + kernel);
        print_row("chain/" + kernel, {ratio(times, "chain/" + kernel, "soxr_hq/8"),
                                      found == times.end() ? 0 : found->second / 1000});
    }
    const std::vector<std::size_t> lengths = {162, 480, 1536, 24576};
    std::vector<std::string> columns;
    for (const std::size_t frames : lengths) {
        columns.push_back(std::to_string(frames));
    }
    print_head("48 to 16 kHz, 8 and 2 channels: time per frame over a 1536-frame block's", columns);
    for (const std::string& kernel : kernels()) {
        for (const char* channels : {"/8", "/2"}) {
            std::vector<double> values;
            for (const std::size_t frames : lengths) {
                values.push_back(ratio(times,
                                       "length/" + kernel + channels + "/" + std::to_string(frames),
                                       "length/" + kernel + channels + "/1536") *
                                 1536 / static_cast<double>(frames));
            }
            print_row("length/" + kernel + channels, values);
        }
    }
}

}  // namespace

void print_tables(const block_times& times) {
    print_rate_conversion(times);
    print_mixing(times);
    print_copying(times);
    print_chain(times);
}
