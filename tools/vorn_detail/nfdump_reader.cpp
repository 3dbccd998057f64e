#include "tools/vorn_detail/nfdump_reader.h"

#include "tools/vorn_detail/json_field.h"

namespace Vorn {

using nlohmann::json;

// Depth 0 is outside the array, 1 inside it, 2 inside an object; deeper
// levels belong to a structured member value and are skipped.
class NfdumpReader::Handler : public nlohmann::json_sax<json> {
public:
    Handler(NfdumpReader& owner, const Visit& visit, std::istream& in) : owner_(owner), visit_(visit), in_(in) {}

    bool null() override { return value(json()); }
    bool boolean(bool v) override { return value(v); }
    bool number_integer(number_integer_t v) override { return value(v); }
    bool number_unsigned(number_unsigned_t v) override { return value(v); }
    bool number_float(number_float_t v, const string_t&) override { return value(v); }
    bool string(string_t& v) override { return value(std::move(v)); }
    bool binary(binary_t&) override { return value(json()); }

    bool start_object(std::size_t) override {
        if (depth_ == 1) {
            ++owner_.ordinal_;
            object_ = json::object();
        } else if (!nested(json::object())) {
            return false;
        }
        ++depth_;
        return true;
    }
    bool key(string_t& k) override {
        if (depth_ != 2) return true;
        if (object_.contains(k)) return fail(flow() + "member " + Vorn::quoted(k) + " appears twice");
        key_ = std::move(k);
        return true;
    }
    bool end_object() override {
        if (--depth_ != 1) return true;
        const std::string wrong = visit_(object_, owner_.ordinal_);
        if (wrong.empty()) return true;
        return fail(flow() + wrong);
    }
    bool start_array(std::size_t) override {
        if (depth_ != 0 && !nested(json::array())) return false;
        ++depth_;
        return true;
    }
    bool end_array() override {
        closed_ = --depth_ == 0;
        return true;
    }

    bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception& error) override {
        if (closed_) return fail("text after the array at byte " + std::to_string(position));
        const std::string where = depth_ >= 2 ? flow() : owner_.ordinal_ > 0 ? "after " + flow() : std::string();
        // A text cut short inside a string or a number is an error of that
        // token to nlohmann, and an early end elsewhere: both end the input.
        const bool ended = std::string(error.what()).find("end of input") != std::string::npos ||
                           in_.rdbuf()->sgetc() == std::char_traits<char>::eof();
        if (ended) return fail(where + (depth_ == 0 ? "no JSON array" : "input ends before the array is closed"));
        if (error.id == 406) return fail(where + "number out of range at byte " + std::to_string(position));
        return fail(where + "invalid JSON at byte " + std::to_string(position));
    }

private:
    std::string flow() const { return "flow " + std::to_string(owner_.ordinal_) + ": "; }

    bool fail(const std::string& problem) {
        owner_.problem_ = problem;
        return false;
    }

    bool value(json v) {
        if (depth_ == 2) object_[key_] = std::move(v);
        return depth_ >= 2 || fail_shape();
    }

    // An array or object as a value at depth 2 or deeper.
    bool nested(json empty) {
        if (depth_ < 2) return fail_shape();
        if (depth_ == 2) object_[key_] = std::move(empty);
        return true;
    }

    bool fail_shape() {
        if (depth_ == 0) return fail("expected a JSON array of flow objects, as 'nfdump -o json' prints");
        return fail("element " + std::to_string(owner_.ordinal_ + 1) + " of the array is not an object");
    }

    NfdumpReader& owner_;
    const Visit& visit_;
    std::istream& in_;
    int depth_ = 0;
    bool closed_ = false;  // the array is complete: only white space may follow
    json object_;
    std::string key_;
};

bool NfdumpReader::read(std::istream& in, const Visit& visit) {
    Handler handler(*this, visit, in);
    if (json::sax_parse(in, &handler)) return true;
    if (problem_.empty()) problem_ = "cannot read the input";
    return false;
}

}  // namespace Vorn
