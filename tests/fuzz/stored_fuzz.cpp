// Hands arbitrary texts to the readers of what a node keeps or is given to keep. They may refuse them, and only as they
// say that they do; what they take is written and read again as it was. The first byte chooses the reader.
#include "node/native_document.h"
#include "server/confirmed_commit.h"
#include "server/users.h"
#include "sysdb/bag_json.h"
#include "sysdb/seal.h"
#include "yang/error.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace {

using namespace ocamp;

void require(bool holds) {
    if (!holds)
        std::abort();
}

// A record that is taken can be encoded.
void read_record(std::string_view text) {
    const BagRecord record = bag_from_json(text);
    require(decode_bag(encode_bag(record)) == record);
    require(bag_from_json(bag_to_json(record)) == record);
}

void read_items(std::string_view text) {
    const std::string written = sysdb_items_to_json(sysdb_items_from_json(text));
    require(sysdb_items_to_json(sysdb_items_from_json(written)) == written);
}

void check_native(const YangTree &tree) {
    const std::string stored = tree.print_to_store();
    require(native_schema().parse(stored, LYD_JSON).print_to_store() == stored);
}

void read_users(std::string_view text) {
    const std::string written = server::Users::from_json(text).json();
    require(server::Users::from_json(written).json() == written);
}

void read_commit(std::string_view record) {
    check_native(server::configuration_of_record(record));
}

// No fuzzer guesses checksums.
void read_commit_with_checksum(std::string_view running) {
    try {
        read_commit(nlohmann::json{{"version", 1}, {"checksum", row_checksum({running})}, {"running", running}}.dump());
    } catch (const nlohmann::json::exception &) { // NOLINT(bugprone-empty-catch): no UTF-8
    }
}

void read(char what, std::string_view text) {
    switch (what) {
    case 'r':
        return read_record(text);
    case 'i':
        return read_items(text);
    case 'x':
        return check_native(parse_native_document(text, DocumentFormat::xml));
    case 'j':
        return check_native(parse_native_document(text, DocumentFormat::json));
    case 'u':
        return read_users(text);
    case 'c':
        return read_commit(text);
    case 'k':
        return read_commit_with_checksum(text);
    default:
        return;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0)
        return 0;
    try {
        read(static_cast<char>(data[0]), {reinterpret_cast<const char *>(data) + 1, size - 1});
    } catch (const InputError &error) { // JsonError, DocumentError, UserError
        require(!std::string_view(error.what()).empty());
    } catch (const RequestError &error) {
        require(!std::string_view(error.what()).empty());
    } catch (const YangError &error) {
        require(!std::string_view(error.what()).empty());
    }
    return 0;
}
