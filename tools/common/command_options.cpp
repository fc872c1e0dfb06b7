#include "command_options.h"

#include <fmt/format.h>

#include <cstdlib>

#include "channel_layout.h"

CLI::Validator number_from(double least, double most) {
    return {[=](const std::string& text) {
                const double number = std::strtod(text.c_str(), nullptr);
                return number >= least && number <= most
                           ? ""
                           : fmt::format("{} is not from {} to {}", text, least, most);
            },
            fmt::format("FLOAT in [{} - {}]", least, most)};
}

void add_client_options(CLI::App* command, stream_format* client, bool any_bits) {
    command->add_option("-r,--rate", client->rate, "Client's rate in Hz (16000 to 48000)")
        ->check(CLI::Range(16000, 48000))
        ->capture_default_str();
    command->add_option("-c,--channels", client->channels, "Client's channels (1 to 8)")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
    CLI::Option* bits =
        command->add_option("-b,--bits", client->bits, "Client's bits per sample (16 or 32)");
    bits->check(any_bits ? CLI::IsMember({16, 24, 32}) : CLI::IsMember({16, 32}))
        ->capture_default_str();
}

void add_buffer_options(CLI::App* command, stream_format* client) {
    command
        ->add_option("-p,--period-size", client->period_size,
                     "Frames per period (default: one block of 32 ms)")
        ->check(CLI::Range(1U, 1U << 20));
    command->add_option("-n,--period-count", client->period_count, "Periods in the buffer")
        ->check(CLI::Range(1, 1024))
        ->capture_default_str();
}

void add_coefficient_options(CLI::App* command, coefficient_paths* files) {
    command
        ->add_option("--mixing", files->mixing,
                     "Mixing coefficient file, or none (default: the platform's, see info)")
        ->check((CLI::ExistingFile | CLI::IsMember({kNoFile})).description("FILE"));
    command
        ->add_option("--delay", files->delay,
                     "Delay coefficient file, or none (default: the platform's, see info)")
        ->check((CLI::ExistingFile | CLI::IsMember({kNoFile})).description("FILE"));
}

void add_card_options(CLI::App* command, card_setup* card, bool channels_and_rate,
                      const std::string& otherwise) {
    if (channels_and_rate) {
        command
            ->add_option("--card-channels", card->channels,
                         "Simulated card's channels (1 to 16)" + otherwise)
            ->check(CLI::Range(1, 16));
        command
            ->add_option("--card-rate", card->rate,
                         "Simulated card's rate in Hz (8000 to 192000)" + otherwise)
            ->check(CLI::Range(8000, 192000));
    }
    command
        ->add_option("--card-bits", card->bits,
                     "Simulated card's sample width (16, 24 or 32)" + otherwise)
        ->check(CLI::IsMember({16, 24, 32}));
    command->add_option("--card-layout", card->layout,
                        fmt::format("Simulated card's layout: {} (default: by the channels)",
                                    fmt::join(card_layouts(), ", ")));
}

void add_log_flag(CLI::App* command, bool* log) {
    command->add_flag("--log", *log, "Pass the library's messages on to the standard error stream");
}

void add_json_flag(CLI::App* command, bool* wanted) {
    command->add_flag("--json", *wanted, "Print JSON, for programs");
}
