#include "blueprint.h"

#include <cctype>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace zel_test {

namespace {

class reader {
  public:
    reader(const std::string& path, std::map<std::string, blueprint_value>* to) : modules(to) {
        std::ifstream file(path);
        std::ostringstream all;
        all << file.rdbuf();
        text = all.str();
        if (text.empty()) {
            throw std::runtime_error("cannot read " + path);
        }
    }

    void read() {
        while (peek() != '\0') {
            const std::string word = identifier();
            if (peek() == '=') {
                take('=');
                variables[word] = value();
            } else {
                const blueprint_value module = value();
                if (!module["name"].text.empty()) {
                    (*modules)[module["name"].text] = module;
                }
            }
        }
    }

  private:
    /// The next character that is neither white space nor comment.
    char peek() {
        while (at < text.size() &&
               (std::isspace(text[at]) != 0 || text.compare(at, 2, "//") == 0)) {
            at = text[at] == '/' ? std::min(text.find('\n', at), text.size()) : at + 1;
        }
        return at < text.size() ? text[at] : '\0';
    }

    void take(char wanted) {
        if (peek() != wanted) {
            throw std::runtime_error("no '" + std::string(1, wanted) +
                                     "' before: " + text.substr(at, 40));
        }
        ++at;
    }

    std::string identifier() {
        peek();
        const std::size_t begin = at;
        while (at < text.size() && (std::isalnum(text[at]) != 0 || text[at] == '_')) {
            ++at;
        }
        if (at == begin) {
            throw std::runtime_error("no name before: " + text.substr(at, 40));
        }
        return text.substr(begin, at - begin);
    }

    blueprint_value value() {
        blueprint_value result;
        if (peek() == '"') {
            const std::size_t end = text.find('"', ++at);
            result.text = text.substr(at, end - at);
            at = end;
            take('"');
        } else if (peek() == '[') {
            for (take('['); peek() != ']'; separate(']')) {
                result.list.push_back(value().text);
            }
            take(']');
        } else if (peek() == '{') {
            for (take('{'); peek() != '}'; separate('}')) {
                const std::string name = identifier();
                take(':');
                result.map[name] = value();
            }
            take('}');
        } else {
            const std::string word = identifier();
            const auto variable = variables.find(word);
            if (variable != variables.end()) {
                return variable->second;
            }
            result.text = word;
        }
        return result;
    }

    void separate(char end) {
        if (peek() != end) {
            take(',');
        }
    }

    std::string text;
    std::size_t at = 0;
    std::map<std::string, blueprint_value> variables;
    std::map<std::string, blueprint_value>* modules;
};

}  // namespace

const blueprint_value& blueprint_value::operator[](const std::string& name) const {
    static const blueprint_value none;
    const auto found = map.find(name);
    return found == map.end() ? none : found->second;
}

std::map<std::string, blueprint_value> read_blueprints(const std::vector<std::string>& paths) {
    std::map<std::string, blueprint_value> modules;
    for (const std::string& path : paths) {
        reader(path, &modules).read();
    }
    return modules;
}

}  // namespace zel_test
