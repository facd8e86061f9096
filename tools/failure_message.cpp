// How failures are worded. Knows no command.
#include "failure_message.h"

#include "node/filter.h"
#include "seam/input_error.h"
#include "seam/text.h"
#include "yang/request_error.h"

#include <new>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace ocamp {

namespace {

using Json = nlohmann::ordered_json;

// In bytes: a refusal with its longest path and reason, and a little more.
constexpr std::size_t longest_message = 1600;

std::string text_of(const std::exception &failure) {
    return dynamic_cast<const std::bad_alloc *>(&failure) != nullptr ? "out of memory" : failure.what();
}

} // namespace

int status_of(const std::exception &failure) noexcept {
    return dynamic_cast<const InputError *>(&failure) != nullptr ? wrong_use : request_failed;
}

std::string failure_message(const std::exception &failure, int status, bool as_json) {
    if (!as_json) {
        std::string line = "ocamp: ";
        append_escaped(line, shortened(text_of(failure), longest_message));
        return line + '\n';
    }
    Json told{{"path", nullptr},
              {"reason", shortened(text_of(failure), longest_message)},
              {"tag", nullptr},
              {"code", nullptr},
              {"status", status}};
    if (const auto *refusal = dynamic_cast<const RequestError *>(&failure); refusal != nullptr) {
        told["path"] = refusal->path().empty() ? "/" : refusal->path();
        told["reason"] = refusal->reason();
        told["tag"] = word_of(refusal->tag());
        if (refusal->code() != CERR_SUCCESS)
            told["code"] = fmt::format("0x{:08x}", refusal->code());
    } else if (const auto *wrong_path = dynamic_cast<const PathError *>(&failure); wrong_path != nullptr) {
        told["path"] = wrong_path->path().empty() ? "/" : wrong_path->path();
        told["reason"] = shortened(wrong_path->reason(), longest_message);
        told["tag"] = word_of(wrong_path->tag());
    }
    return escaped_json(Json{{"error", told}}.dump(-1, ' ', false, Json::error_handler_t::replace)) + '\n';
}

} // namespace ocamp
