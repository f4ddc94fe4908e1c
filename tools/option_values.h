// The command lines of the tools. Every tool takes "--name value" and "--name=value" alike, read by
// one OptionReader, so that scripts may use either spelling. A value is a number only when all of
// it is one: atof("abc") would be 0, which for --max-rmse silently switches the limit off, and
// --count=abc would "succeed" without writing a position.
#pragma once

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace vireo_tools {

// Walks the arguments option by option. An argument "--name=value" carries its value; otherwise
// the value, for an option that takes one, is the argument that follows, whatever it looks like
// (an engine command or an empty string are values too).
class OptionReader {
public:
    explicit OptionReader(std::vector<std::string> args) : args_(std::move(args)) {}
    OptionReader(int argc, char** argv) : args_(argv + 1, argv + argc) {}

    // Moves to the next option; false when the arguments are used up.
    bool next() {
        if (at_ >= args_.size()) return false;
        const std::string& arg = args_[at_++];
        size_t equals = arg.find('=');
        has_attached_ = arg.rfind("--", 0) == 0 && equals != std::string::npos;
        name_ = has_attached_ ? arg.substr(0, equals) : arg;
        attached_ = has_attached_ ? arg.substr(equals + 1) : "";
        return true;
    }

    // The option as written up to its '=', e.g. "--games".
    const std::string& name() const { return name_; }

    // True when the option came without "=value": a switch such as "--quiet" takes none.
    bool isSwitch() const { return !has_attached_; }

    // Takes the option's value; false when the command line ends before it.
    bool value(std::string& out) {
        if (has_attached_) {
            out = attached_;
            has_attached_ = false;
            return true;
        }
        if (at_ >= args_.size()) return false;
        out = args_[at_++];
        return true;
    }

private:
    std::vector<std::string> args_;
    size_t at_ = 0;
    std::string name_, attached_;
    bool has_attached_ = false;
};

inline bool parseLong(const char* text, long* out) {
    char* end = nullptr;
    errno = 0;
    long value = strtol(text, &end, 10);
    if (end == text || *end || errno == ERANGE) return false;
    *out = value;
    return true;
}

inline bool parseInt(const char* text, int* out) {
    long value = 0;
    if (!parseLong(text, &value) || value < INT_MIN || value > INT_MAX) return false;
    *out = int(value);
    return true;
}

inline bool parseUnsigned(const char* text, uint64_t* out) {
    char* end = nullptr;
    errno = 0;
    unsigned long long value = strtoull(text, &end, 10);
    if (end == text || *end || errno == ERANGE) return false;
    *out = value;
    return true;
}

// A whole number from low to high in all of `text`. Beyond high a value would wrap where it is
// stored or overflow the arithmetic done with it; strtoll itself clamps what it cannot hold and
// says ERANGE.
inline bool parseWholeNumber(const char* text, long long low, long long high, long long* out) {
    char* end = nullptr;
    errno = 0;
    *out = strtoll(text, &end, 10);
    return *text && *end == 0 && errno != ERANGE && *out >= low && *out <= high;
}

inline bool parseDouble(const char* text, double* out) {
    char* end = nullptr;
    errno = 0;
    double value = strtod(text, &end);
    if (end == text || *end || errno == ERANGE || !std::isfinite(value)) return false;
    *out = value;
    return true;
}

// One option that takes a value, and where the value goes: a number, whole or not, must be all of
// the value; a text is taken as it stands.
struct ValueOption {
    const char* name;
    std::variant<int*, long*, uint64_t*, double*, std::string*> target;
};

// Reads every option of a tool whose options all take a value. False, with the reason on stderr,
// for an option not in the table or a value that is missing or not a number where one belongs.
// Ranges are the tool's to check afterwards.
inline bool readValueOptions(OptionReader reader, std::initializer_list<ValueOption> table) {
    while (reader.next()) {
        const std::string& name = reader.name();
        const ValueOption* option = nullptr;
        for (const ValueOption& candidate : table)
            if (name == candidate.name) option = &candidate;
        if (!option) {
            fprintf(stderr, "Unknown option '%s'\n", name.c_str());
            return false;
        }
        std::string v;
        bool ok = reader.value(v);
        if (ok) {
            const char* text = v.c_str();
            ok = std::visit(
                [&](auto* target) {
                    using T = std::remove_pointer_t<decltype(target)>;
                    if constexpr (std::is_same_v<T, int>) return parseInt(text, target);
                    else if constexpr (std::is_same_v<T, long>) return parseLong(text, target);
                    else if constexpr (std::is_same_v<T, uint64_t>) return parseUnsigned(text, target);
                    else if constexpr (std::is_same_v<T, double>) return parseDouble(text, target);
                    else {
                        *target = v;
                        return true;
                    }
                },
                option->target);
        }
        if (!ok) {
            fprintf(stderr, "Missing or bad value for '%s'\n", name.c_str());
            return false;
        }
    }
    return true;
}

} // namespace vireo_tools
