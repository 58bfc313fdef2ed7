#include "engines/vast/xml_tree.h"

#include <expat.h>

#include <cstddef>
#include <exception>
#include <memory>

#include "engines/vast/vast.h"
#include "quorel/foundation/text.h"

namespace quorel::vast {
namespace {

constexpr std::size_t largestDocument = 4u << 20;  // bytes; an ad server's usual answer has some kilobytes
constexpr std::size_t mostNodes = 50'000;          // elements and attributes
constexpr std::size_t deepestKept = 24;
constexpr std::size_t deepest = 256;

std::string localName(const XML_Char* qualified) {
    const std::string_view name(qualified);
    const auto separator = name.rfind('\n');
    return std::string(separator == std::string_view::npos ? name : name.substr(separator + 1));
}

class TreeReader {
public:
    TreeReader() : parser_(XML_ParserCreateNS(nullptr, '\n'), &XML_ParserFree) {
        if (!parser_) throw std::bad_alloc();
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(parser_.get(), &TreeReader::start, &TreeReader::end);
        XML_SetCharacterDataHandler(parser_.get(), &TreeReader::text);
        XML_SetStartDoctypeDeclHandler(parser_.get(), [](void* self, auto...) {
            auto& reader = *static_cast<TreeReader*>(self);
            reader.guard([&] { reader.refuse(VastError::Code::notXML, "it has a document type declaration"); });
        });
    }

    XmlElement read(std::string_view document) {
        const auto status = XML_Parse(parser_.get(), document.data(), static_cast<int>(document.size()), XML_TRUE);
        if (failure_) std::rethrow_exception(failure_);
        if (problem_) throw VastError(code_, *problem_);
        if (status != XML_STATUS_OK) {
            throw VastError(VastError::Code::notXML, "line " +
                                                         std::to_string(XML_GetCurrentLineNumber(parser_.get())) +
                                                         ": " + XML_ErrorString(XML_GetErrorCode(parser_.get())));
        }
        return std::move(root_);
    }

private:
    void refuse(VastError::Code code, std::string problem) {
        code_ = code;
        problem_ = std::move(problem);
        XML_StopParser(parser_.get(), XML_FALSE);
    }

    // An exception (out of memory) must not leave through expat, which would then not let go of its own memory.
    template <class Function>
    void guard(Function function) noexcept {
        if (failure_) return;
        try {
            function();
        } catch (...) {
            failure_ = std::current_exception();
            XML_StopParser(parser_.get(), XML_FALSE);
        }
    }

    static void start(void* self, const XML_Char* name, const XML_Char** attributes) {
        auto& reader = *static_cast<TreeReader*>(self);
        reader.guard([&] { reader.begin(name, attributes); });
    }
    static void end(void* self, const XML_Char*) {
        auto& reader = *static_cast<TreeReader*>(self);
        reader.guard([&] {
            if (reader.depth_-- > deepestKept) return;
            XmlElement& element = *reader.open_.back();
            element.text = std::string(trimmedWhitespaceAndNewlines(element.text));
            reader.open_.pop_back();
        });
    }
    static void text(void* self, const XML_Char* data, int length) {
        auto& reader = *static_cast<TreeReader*>(self);
        reader.guard([&] {
            if (reader.depth_ > deepestKept || reader.open_.empty()) return;
            reader.open_.back()->text.append(data, static_cast<std::size_t>(length));
        });
    }

    void begin(const XML_Char* name, const XML_Char** attributes) {
        if (problem_) return;
        if (++depth_ > deepest) return refuse(VastError::Code::tooLarge, "its elements are nested too deeply");
        if (depth_ > deepestKept) return;
        // The children of an open element grow only while none of them is open, so the pointers hold.
        XmlElement& element = open_.empty() ? root_ : open_.back()->children.emplace_back();
        element.name = localName(name);
        for (; *attributes != nullptr; attributes += 2) {
            element.attributes.emplace_back(localName(attributes[0]), attributes[1]);
        }
        nodes_ += 1 + element.attributes.size();
        open_.push_back(&element);
        if (nodes_ > mostNodes) refuse(VastError::Code::tooLarge, "it has too many elements");
    }

    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser_;
    XmlElement root_;
    std::vector<XmlElement*> open_;
    std::size_t depth_ = 0;
    std::size_t nodes_ = 0;
    VastError::Code code_ = VastError::Code::notXML;
    std::optional<std::string> problem_;
    std::exception_ptr failure_;
};

}  // namespace

const XmlElement* XmlElement::child(std::string_view childName) const {
    for (const XmlElement& element : children) {
        if (element.name == childName) return &element;
    }
    return nullptr;
}

std::vector<const XmlElement*> XmlElement::all(std::string_view childName) const {
    std::vector<const XmlElement*> found;
    for (const XmlElement& element : children) {
        if (element.name == childName) found.push_back(&element);
    }
    return found;
}

std::optional<std::string> XmlElement::attribute(std::string_view attributeName) const {
    for (const auto& [key, value] : attributes) {
        if (key == attributeName) return value;
    }
    return std::nullopt;
}

XmlElement parseXml(std::string_view document) {
    if (document.size() > largestDocument) throw VastError(VastError::Code::tooLarge, "it is larger than 4 MiB");
    return TreeReader().read(document);
}

}  // namespace quorel::vast
