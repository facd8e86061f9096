// Hands arbitrary texts to the readers of client documents and of edits. They may refuse them, and only as they say
// that they do: any other exception ends the run.
#include "node/edit_request.h"
#include "node/node.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <cstdint>
#include <string_view>

namespace {

using namespace ocamp;

template <class Work>
void refusable(Work work) {
    try {
        work();
    } catch (const DocumentError &) { // no such document
    } catch (const RequestError &) {  // refused
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view document(reinterpret_cast<const char *>(data), size);
    for (const DocumentFormat format : {DocumentFormat::xml, DocumentFormat::json})
        refusable([&] { read_document(document, format, openconfig_schema()); });
    for (const DefaultOperation operation :
         {DefaultOperation::merge, DefaultOperation::replace, DefaultOperation::none})
        refusable([&] { EditRequest(openconfig_schema(), document, operation).requests(); });
    return 0;
}
