// What libyang refuses, as exceptions. Knows nothing of what it was asked.
#pragma once

#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include <libyang/libyang.h>

namespace ocamp {

/// What libyang refused. The text is its reason, with its description of the place when it gave one. Memory that ran
/// out is std::bad_alloc everywhere here.
class YangError : public std::runtime_error {
  public:
    /// `path`: as path() gives it.
    explicit YangError(const std::string &text, std::string path = {})
        : std::runtime_error(text), path_(std::move(path)) {}
    /// `place`: where in the model or the data, as libyang says it. The text has it in brackets behind the complaint.
    YangError(const std::string &complaint, const std::string &place, std::string path)
        : std::runtime_error(complaint + " (" + place + ")"), path_(std::move(path)),
          complaint_size_(complaint.size()) {}

    /// The path that libyang gave, with module names and keys, such as /m:list[key='1']/leaf. Empty when it gave none.
    const std::string &path() const noexcept { return path_; }
    /// The error-app-tag that libyang gave; empty when it gave none.
    const std::string &app_tag() const noexcept { return app_tag_; }
    void set_app_tag(std::string app_tag) { app_tag_ = std::move(app_tag); }

    /// The text without the place.
    std::string_view complaint() const noexcept { return std::string_view(what()).substr(0, complaint_size_); }

  private:
    std::string path_;
    std::string app_tag_;
    std::size_t complaint_size_ = std::string_view::npos;
};

/// The last complaint that was made in the context.
YangError complaint_of(const ly_ctx *context);

/// Throws the last complaint unless the result is LY_SUCCESS, and std::bad_alloc when memory ran out.
void check(LY_ERR result, const ly_ctx *context);

/// What libyang gives while it has memory; std::bad_alloc for NULL.
template <class Text>
Text *there(Text *text) {
    if (text == nullptr)
        throw std::bad_alloc();
    return text;
}

/// Throws YangError for a value whose form the leaf's type does not have and libyang takes all the same.
void check_lexical_form(const lysc_node &leaf, std::string_view value);

} // namespace ocamp
