#include "output_file.h"

#include <filesystem>

#include "chain_report.h"

exit_code keep_inputs(const std::string& out, std::vector<std::string> inputs) {
    const card_state card = read_card_state();
    inputs.insert(inputs.end(), {card.mixing_path, card.delay_path, card.wav_file});
    for (const std::string& input : inputs) {
        std::error_code ignored;
        if (std::filesystem::equivalent(input, out, ignored)) {
            return fail(EXIT_USAGE, "the output would overwrite " + input);
        }
    }
    return EXIT_OK;
}
