// What readers of XML share: expat with namespaces, and exceptions that do not pass through it. Knows no document.
#pragma once

#include "yang/expat_library.h"

#include <exception>
#include <memory>
#include <new>
#include <string_view>

#include <fmt/format.h>

namespace ocamp {

/// An expat parser of UTF-8. Its reader sets the handlers, and its own user data.
class ExpatParser {
  public:
    /// A name with its namespace, empty when it has none. Views of what was split.
    struct Name {
        std::string_view ns, name;
    };

    /// Throws std::bad_alloc.
    ExpatParser() : parser_(expat().create_parser("UTF-8", separator)) {
        if (parser_ == nullptr)
            throw std::bad_alloc();
    }

    XML_Parser get() const noexcept { return parser_.get(); }

    /// Runs the work of a handler. What it throws does not pass through expat: it stops the reading, and parse throws
    /// it.
    template <class Work>
    void guard(Work work) noexcept {
        if (failure_ != nullptr)
            return;
        try {
            work();
        } catch (...) {
            failure_ = std::current_exception();
            expat().stop_parser(parser_.get(), XML_FALSE);
        }
    }

    /// Reads on. `text`: at most INT_MAX bytes. `last`: the document ends with it. Throws what a handler threw, and
    /// Error for what is not well-formed.
    template <class Error>
    void parse(std::string_view text, bool last) {
        if (expat().parse(parser_.get(), text.data(), static_cast<int>(text.size()), last ? 1 : 0) == XML_STATUS_OK)
            return;
        if (failure_ != nullptr)
            std::rethrow_exception(failure_);
        throw Error(fmt::format("not well-formed XML: line {}: {}", expat().get_current_line_number(parser_.get()),
                                expat().error_string(expat().get_error_code(parser_.get()))));
    }

    /// A name as handlers get it.
    static Name split(std::string_view whole) noexcept {
        const std::size_t at = whole.find(separator);
        return at == std::string_view::npos ? Name{{}, whole} : Name{whole.substr(0, at), whole.substr(at + 1)};
    }

  private:
    // Between namespace and name, where no name has it.
    static constexpr char separator = '\n';

    struct Free {
        void operator()(XML_Parser parser) const noexcept { expat().free_parser(parser); }
    };

    std::unique_ptr<XML_ParserStruct, Free> parser_;
    std::exception_ptr failure_;
};

} // namespace ocamp
