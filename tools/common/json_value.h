#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <string>
#include <string_view>

/// With replacement characters for bytes that are no UTF-8.
std::string valid_utf8(std::string_view text);

/// A JSON value under construction; what is added is owned by what it was added to.
class json_value {
  public:
    static json_value object() { return json_value(cJSON_CreateObject()); }
    static json_value array() { return json_value(cJSON_CreateArray()); }
    /// Bytes that are no UTF-8 become replacement characters.
    json_value(const std::string& text);
    json_value(const char* text) : json_value(std::string(text)) {}
    json_value(bool flag) : node(cJSON_CreateBool(flag)) {}
    /// Not a number or infinite becomes null.
    json_value(double number) : node(cJSON_CreateNumber(number)) {}
    json_value(int number) : json_value(static_cast<double>(number)) {}
    json_value(unsigned int number) : json_value(static_cast<double>(number)) {}
    json_value(std::uint64_t number) : json_value(static_cast<double>(number)) {}
    ~json_value() { cJSON_Delete(node); }
    json_value(json_value&& other) noexcept : node(other.node) { other.node = nullptr; }
    json_value(const json_value&) = delete;
    json_value& operator=(const json_value&) = delete;

    json_value& set(const char* key, json_value value) {
        cJSON_AddItemToObject(node, key, value.release());
        return *this;
    }
    json_value& append(json_value value) {
        cJSON_AddItemToArray(node, value.release());
        return *this;
    }
    /// To the standard output, indented or as one line.
    void print(bool one_line = false) const;

  private:
    explicit json_value(cJSON* made) : node(made) {}
    cJSON* release() {
        cJSON* made = node;
        node = nullptr;
        return made;
    }

    cJSON* node;
};
