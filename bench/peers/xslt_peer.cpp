// A translation by a stylesheet that libxslt runs in process. The records of the system database come in parsed form,
// as they do for the others: a copy of them is put beside the native documents.
#include "peer.h"

#include <stdexcept>

#include <libxml/parser.h>
#include <libxslt/transform.h>
#include <libxslt/xsltutils.h>

namespace peers {

namespace {

struct FreeXml {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
    void operator()(xsltStylesheet *stylesheet) const { xsltFreeStylesheet(stylesheet); }
};
using Document = std::unique_ptr<xmlDoc, FreeXml>;

const xmlChar *xml(const char *text) {
    return reinterpret_cast<const xmlChar *>(text);
}

Document records_of(const NativeNode &node) {
    Document document(xmlNewDoc(xml("1.0")));
    xmlNode *records = xmlNewNode(nullptr, xml("records"));
    xmlDocSetRootElement(document.get(), records);
    for (const Record &record : node.records) {
        xmlNode *element = xmlNewChild(records, nullptr, xml("record"), nullptr);
        xmlNewProp(element, xml("controller"), xml(record.controller.c_str()));
        xmlNewProp(element, xml("minimum"), xml(record.minimum.c_str()));
        xmlNewProp(element, xml("average"), xml(record.average.c_str()));
        xmlNewProp(element, xml("maximum"), xml(record.maximum.c_str()));
    }
    return document;
}

Document parse(const std::string &text, xmlDoc *records) {
    Document document(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, XML_PARSE_NOBLANKS));
    if (document == nullptr)
        throw std::runtime_error("libxml2 could not parse native data");
    constexpr int deep = 1;
    xmlNode *copy = xmlDocCopyNode(xmlDocGetRootElement(records), document.get(), deep);
    xmlAddChild(xmlDocGetRootElement(document.get()), copy);
    return document;
}

class XsltPeer : public Peer {
  public:
    explicit XsltPeer(const std::vector<NativeNode> &nodes) : stylesheet_(xsltParseStylesheetFile(xml(STYLESHEET))) {
        if (stylesheet_ == nullptr)
            throw std::runtime_error("libxslt could not parse the stylesheet");
        for (const NativeNode &node : nodes) {
            texts_.push_back("<data>" + node.xml + "</data>");
            records_.push_back(records_of(node));
            parsed_.push_back(parse(texts_.back(), records_.back().get()));
        }
    }

    std::vector<Measure> measures() override {
        return {{"parsed", [this] { translate_all(); }, [this] { results_.clear(); }},
                {"text", [this] { answers_ = answers(); }, [this] { answers_.clear(); }}};
    }
    std::vector<std::string> answers() override {
        std::vector<std::string> answers;
        for (size_t node = 0; node < texts_.size(); ++node)
            answers.push_back(print(translate(parse(texts_[node], records_[node].get()).get())));
        return answers;
    }

  private:
    void translate_all() {
        for (const Document &document : parsed_)
            results_.push_back(translate(document.get()));
    }
    Document translate(xmlDoc *native) const {
        Document result(xsltApplyStylesheet(stylesheet_.get(), native, nullptr));
        if (result == nullptr)
            throw std::runtime_error("libxslt could not apply the stylesheet");
        return result;
    }
    std::string print(const Document &result) const {
        xmlChar *text = nullptr;
        int length = 0;
        xsltSaveResultToString(&text, &length, result.get(), stylesheet_.get());
        std::string printed(reinterpret_cast<char *>(text), static_cast<size_t>(length));
        xmlFree(text);
        return printed;
    }

    std::unique_ptr<xsltStylesheet, FreeXml> stylesheet_;
    std::vector<std::string> texts_, answers_;
    std::vector<Document> records_, parsed_, results_;
};

} // namespace

std::unique_ptr<Peer> make_peer(const std::vector<NativeNode> &nodes) {
    return std::make_unique<XsltPeer>(nodes);
}

} // namespace peers
