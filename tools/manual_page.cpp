// The manual page, in roff's man macros.

#include <cctype>
#include <sstream>

#include "help_text.h"

namespace {

/// Text that roff takes as it is: no escapes, no requests, hyphens as they are typed.
std::string roff(const std::string& text) {
    std::string out;
    bool line_start = true;
    for (const char c : text) {
        if (line_start && (c == '.' || c == '\'')) {
            out += "\\&";
        }
        out += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
        line_start = c == '\n';
    }
    return out;
}

std::string upper(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return text;
}

bool is_title(const std::string& line) {
    return line.size() > 1 && line.back() == ':' && line.front() != ' ' &&
           line.find(' ') + 1 >= line.find_last_of(' ') + 1 && line.size() < 20;
}

/// A help's footer: paragraphs, titles that end in a colon, and indented lines as they stand.
void write_footer(std::ostream& out, const std::string& footer, const char* heading) {
    std::istringstream lines(footer);
    bool as_it_stands = false;
    bool paragraph = false;
    const auto keep = [&](bool wanted) {
        if (wanted != as_it_stands) {
            out << (wanted ? ".PP\n.nf\n" : ".fi\n");
        }
        as_it_stands = wanted;
    };
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            keep(false);
            paragraph = false;
        } else if (is_title(line)) {
            keep(false);
            line.pop_back();
            out << heading << ' ' << (heading == std::string(".SH") ? upper(line) : line) << '\n';
            paragraph = true;
        } else if (line.front() == ' ') {
            keep(true);
            out << roff(line) << '\n';
        } else {
            keep(false);
            out << (paragraph ? "" : ".PP\n") << roff(line) << '\n';
            paragraph = true;
        }
    }
    keep(false);
}

void write_option(std::ostream& out, const CLI::Option& option) {
    out << ".TP\n";
    if (option.get_positional()) {
        out << "\\fI" << roff(upper(option.get_name(true))) << "\\fR";
    } else {
        out << "\\fB" << roff(option.get_name(false, true)) << "\\fR";
        if (option.get_items_expected_max() > 0) {
            const std::string type = option.get_type_name();
            out << " \\fI" << roff(type.substr(0, type.find_first_of(": ["))) << "\\fR";
        }
    }
    out << '\n' << roff(option.get_description());
    if (!option.get_default_str().empty()) {
        out << " (default: " << roff(option.get_default_str()) << ')';
    }
    if (!option.get_envname().empty()) {
        out << ", or by the environment variable " << roff(option.get_envname());
    }
    out << '\n';
}

std::string synopsis(const CLI::App& command, const std::string& name) {
    std::string text = "\\fB" + roff(name) + "\\fR [options]";
    for (const CLI::Option* option : command.get_options()) {
        if (option->get_positional()) {
            const std::string word = "\\fI" + roff(upper(option->get_name(true))) + "\\fR";
            text += option->get_required() ? ' ' + word : " [" + word + ']';
        }
    }
    return text;
}

void write_command(std::ostream& out, const CLI::App& command, const std::string& parents) {
    const std::string name = parents + ' ' + command.get_name();
    const auto inner = command.get_subcommands([](const CLI::App*) { return true; });
    out << ".SS " << roff(name) << '\n';
    if (inner.empty()) {
        out << synopsis(command, name) << "\n.PP\n";
    }
    out << roff(command.get_description()) << ".\n";
    for (const CLI::Option* option : command.get_options()) {
        if (option->get_name() != "--help") {
            write_option(out, *option);
        }
    }
    write_footer(out, command.get_footer(), ".PP\n.B");
    for (const CLI::App* one : inner) {
        write_command(out, *one, name);
    }
}

}  // namespace

std::string manual_page(const CLI::App& app) {
    std::ostringstream out;
    out << ".TH ZEL\\-FC 1 \"\" \"\" \"User Commands\"\n"
        << ".SH NAME\nzel\\-fc \\- the format converter of virtual sound card 70\n"
        << ".SH SYNOPSIS\n";
    const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
    for (const CLI::App* command : commands) {
        const auto inner = command->get_subcommands([](const CLI::App*) { return true; });
        if (inner.empty()) {
            out << synopsis(*command, "zel-fc " + command->get_name()) << "\n.br\n";
        }
        for (const CLI::App* one : inner) {
            out << synopsis(*one, "zel-fc " + command->get_name() + ' ' + one->get_name())
                << "\n.br\n";
        }
    }
    out << ".SH DESCRIPTION\n"
        << roff(app.get_description()) << "\nEvery command has the option \\fB\\-\\-help\\fR.\n"
        << ".SH COMMANDS\n";
    for (const CLI::App* command : commands) {
        write_command(out, *command, "zel-fc");
    }
    write_footer(out, app.get_footer(), ".SH");
    return out.str();
}
