// A node's database cut at every page, and with single bits flipped in every record and all over the file: each read of
// the whole model gives exactly the answer of the intact node or an error that names the file. One process does it all.
#include "node/service.h"
#include "support/files.h"
#include "sysdb/record_reader.h"
#include "yang/models.h"

#include <filesystem>
#include <fstream>
#include <iostream>

#include <gtest/gtest.h>

using namespace ocamp;
namespace fs = std::filesystem;

namespace {

constexpr std::size_t page_size = 4096;
// Flips in one record, and the distance of those all over the file: prime, so that every place in a page has its turn.
constexpr std::size_t flips_in_arecord = 12, flip_distance = 127;

struct Record {
    std::string bind_point; // empty for a native document
    std::string name;
    std::string bytes;
};

class DamagedDatabase : public testing::Test {
  protected:
    void SetUp() override {
        Node::init(folder_, EXAMPLE_NODE);
        intact_ = support::read_file(folder_ / "node.db");
        answer_ = read();
        ASSERT_NE(answer_.find("0/2-AMP-BST"), std::string::npos);
    }
    void TearDown() override {
        std::cout << "errors that name the file: " << errors_ << ", whole answers: " << answers_ << '\n';
    }

    std::string read() const {
        Service service({.node = folder_, .plugin = PLUGIN_FILE});
        return service.read(YFW_KIND_GET, Filter(openconfig_schema())).answer.print(LYD_JSON);
    }

    std::vector<Record> records() const {
        Node node(folder_, Node::Access::read);
        std::vector<Record> all;
        for (const char *query :
             {"SELECT bind_point, item, bag FROM sysdb_item", "SELECT '', name, document FROM native_data"}) {
            Statement rows = node.database().prepare(query);
            while (rows.step())
                all.push_back({std::string(rows.text(0)), std::string(rows.text(1)), std::string(rows.text(2))});
        }
        return all;
    }

    // Reads the node with other content. True for an error.
    bool expect_error_or_answer(const std::string &content, const std::string &what) {
        std::ofstream(folder_ / "node.db", std::ios::binary) << content;
        try {
            EXPECT_TRUE(read() == answer_) << what << ": another answer";
            ++answers_;
            return false;
        } catch (const RequestError &error) {
            ADD_FAILURE() << what << ": the request is blamed: " << error.what();
        } catch (const std::runtime_error &error) {
            EXPECT_NE(std::string(error.what()).find("node.db: "), std::string::npos) << what << ": " << error.what();
            ++errors_;
        }
        return true;
    }

    std::string flipped(std::size_t at) const {
        std::string content = intact_;
        content[at] = static_cast<char>(content[at] ^ (1 << (at % 8)));
        return content;
    }

    support::TemporaryFolder made_;
    fs::path folder_ = made_.path() / "node";
    std::string intact_, answer_;
    std::size_t errors_ = 0, answers_ = 0;
};

TEST_F(DamagedDatabase, CutAtEveryPageIsAnError) {
    for (std::size_t size = 0; size < intact_.size(); size += page_size) {
        EXPECT_TRUE(expect_error_or_answer(intact_.substr(0, size), "cut at " + std::to_string(size)));
        for (const std::size_t more : {std::size_t{1}, page_size - 1})
            expect_error_or_answer(intact_.substr(0, size + more), "cut at " + std::to_string(size + more));
    }
}

// Where the byte of a record lies in the file; npos when the text around it is spread over two pages.
std::size_t place_of(const std::string &file, const std::string &record, std::size_t at) {
    const std::size_t width = std::min<std::size_t>(record.size() - at, 40);
    const std::string around = record.substr(at, width);
    const std::size_t found = file.find(around);
    return found != std::string::npos && file.find(around, found + 1) == std::string::npos ? found : std::string::npos;
}

TEST_F(DamagedDatabase, FlippedBitInEveryRecordIsAnErrorThatNamesIt) {
    const std::vector<Record> all = records();
    ASSERT_GT(all.size(), 10U);
    for (const Record &record : all) {
        std::size_t done = 0;
        const std::size_t distance = std::max<std::size_t>(record.bytes.size() / flips_in_arecord, 1);
        for (std::size_t at = 0; at < record.bytes.size(); at += distance) {
            const std::size_t place = place_of(intact_, record.bytes, at);
            if (place == std::string::npos)
                continue;
            ++done;
            std::ofstream(folder_ / "node.db", std::ios::binary) << flipped(place);
            try {
                // The read of the whole model meets all but the records that no leaf comes from.
                EXPECT_TRUE(read() == answer_) << record.name << " at " << at;
                ++answers_;
                Node node(folder_, Node::Access::read);
                read_record(node.system_database(), record.bind_point, record.name);
                ADD_FAILURE() << record.name << " at " << at << ": damage unseen";
            } catch (const std::runtime_error &error) {
                EXPECT_NE(std::string(error.what()).find(record.bind_point + record.name), std::string::npos)
                    << error.what();
                ++errors_;
            }
        }
        EXPECT_GT(done, 0U) << record.name;
    }
    EXPECT_GT(errors_, 2 * answers_);
}

TEST_F(DamagedDatabase, FlippedBitAnywhereIsAnErrorOrTheWholeAnswer) {
    for (std::size_t at = 0; at < intact_.size(); at += flip_distance)
        expect_error_or_answer(flipped(at), "bit of byte " + std::to_string(at));
    EXPECT_GT(errors_, answers_);
}

} // namespace
