#include "platform/xml_document.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <climits>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "platform/files.h"
#include "platform/hresult.h"
#include "platform/text.h"

namespace {

using namespace orvel::platform;

constexpr const char* xmlWhiteSpace = " \t\r\n";

template <auto Function>
struct Freed {
    template <class Pointer>
    void operator()(Pointer* object) const noexcept {
        Function(object);
    }
};
struct TextFreed {
    void operator()(xmlChar* text) const noexcept { xmlFree(text); }
};
using Text = std::unique_ptr<xmlChar, TextFreed>;
using Document = std::unique_ptr<xmlDoc, Freed<&xmlFreeDoc>>;
using Parser = std::unique_ptr<xmlParserCtxt, Freed<&xmlFreeParserCtxt>>;
using PathContext = std::unique_ptr<xmlXPathContext, Freed<&xmlXPathFreeContext>>;
using PathResult = std::unique_ptr<xmlXPathObject, Freed<&xmlXPathFreeObject>>;

const xmlChar* asXml(const std::string& text) { return reinterpret_cast<const xmlChar*>(text.c_str()); }
const char* asText(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

template <class Pointer>
Pointer* allocated(Pointer* object) {
    if (object == nullptr) {
        throw std::bad_alloc();
    }
    return object;
}

/// The library must be initialised once, before threads use it at the same time.
void initialise() { [[maybe_unused]] static const bool done = (xmlInitParser(), true); }

void ignoreError(void* /*context*/, xmlErrorPtr /*error*/) {}

/// Keeps the library from printing while it lives: some of its errors do not go to the parser's handler but
/// to the thread's.
class Silence {
public:
    Silence() : context(xmlStructuredErrorContext), handler(xmlStructuredError) {
        xmlSetStructuredErrorFunc(nullptr, &ignoreError);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
    ~Silence() { xmlSetStructuredErrorFunc(context, handler); }

private:
    void* context;
    xmlStructuredErrorFunc handler;
};

std::string trimmed(std::string_view text, const char* blanks) {
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string_view::npos
               ? std::string()
               : std::string(text.substr(first, text.find_last_not_of(blanks) - first + 1));
}

/// What the library says about an error; in our own words when that cannot be had in the narrow encoding.
std::string wordsOf(const xmlError& error, const char* ownWords) {
    try {
        const std::string words =
            trimmed(utf8ToNarrow(error.message != nullptr ? error.message : ""), xmlWhiteSpace);
        return words.empty() ? ownWords : words;
    } catch (const std::runtime_error&) {
        return ownWords;
    }
}

XmlError parseError(const xmlError& error) {
    const std::string reason = wordsOf(error, "The document is not well-formed");
    return {static_cast<std::uint32_t>(error.code != 0 ? error.code : XML_ERR_INTERNAL_ERROR),
            error.line > 0 ? reason + " (line " + std::to_string(error.line) + ")" : reason};
}

/// A file that is not there has no words of the parser's.
XmlError readError(const std::string& fileName, const std::error_code& error) {
    const std::uint32_t code = error == std::errc::no_such_file_or_directory ? eFileNotFound
                               : error == std::errc::permission_denied       ? eAccessDenied
                                                                             : eFail;
    return {code, "Cannot read " + fileName + ": " + error.message()};
}

// What the entities of a document may stand for in all: as much as one text in the parser. Each costs
// something even when it is empty, so that their number is limited, too.
constexpr std::size_t maximumExpansion = 10'000'000;
constexpr std::size_t nodeSize = 100;

// A parameter entity costs so much that their number stays far below the ten thousand from which on libxml2
// 2.9.14 reports a loop and then, skipping blanks behind it, never comes back.
constexpr std::size_t parameterEntitySize = 10'000;

// The parser compares the attributes that an element has by default with each other, in every element.
constexpr std::size_t maximumDefaults = 100;

/// What a document has asked of the parser so far; kept in the parser's user data.
struct Demand {
    std::size_t expanded = 0;
    std::size_t defaults = 0;

    bool isBeyondMeasure() const { return expanded > maximumExpansion || defaults > maximumDefaults; }
};

Demand& demandOf(xmlParserCtxt* parser) { return *static_cast<Demand*>(parser->_private); }

/// Attributes with a default value are counted; past the limit the parser is at the end of its input.
void limitedAttributeDeclaration(void* context, const xmlChar* element, const xmlChar* name, int type,
                                 int kind, const xmlChar* defaultValue, xmlEnumeration* values) {
    auto* const parser = static_cast<xmlParserCtxt*>(context);
    xmlSAX2AttributeDecl(context, element, name, type, kind, defaultValue, values);
    Demand& demand = demandOf(parser);
    demand.defaults += defaultValue != nullptr ? 1 : 0;
    if (demand.isBeyondMeasure()) {
        xmlStopParser(parser);
    }
}

/// Parameter entities are replaced while their declarations are parsed. What they stand for is counted; past the
/// limit the parser is at the end of its input.
xmlEntity* limitedParameterEntity(void* context, const xmlChar* name) {
    auto* const parser = static_cast<xmlParserCtxt*>(context);
    Demand& demand = demandOf(parser);
    xmlEntity* const entity = xmlSAX2GetParameterEntity(context, name);
    demand.expanded += parameterEntitySize + static_cast<std::size_t>(entity != nullptr ? entity->length : 0);
    if (!demand.isBeyondMeasure()) {
        return entity;
    }
    xmlStopParser(parser);
    return nullptr;
}

/// Replaces references to general entities by what they stand for.
///
/// The parser leaves them as references: if it replaced them itself, it would read the files of external
/// ones, too. Those have no content here and vanish. The amount is limited, for a small document can
/// declare entities that stand for gigabytes of others.
class EntityExpansion {
public:
    /// False when the entities of the document stand for more than the limits allow.
    bool run(xmlDoc* document) { return expandChildrenOf(reinterpret_cast<xmlNode*>(document), 0); }

private:
    static constexpr int maximumDepth = 256; // that of an element in the parser

    std::size_t size = 0;

    bool expandChildrenOf(xmlNode* parent, int depth) {
        if (depth > maximumDepth) {
            return false;
        }
        for (xmlNode* node = parent->children; node != nullptr;) {
            if (node->type == XML_ENTITY_REF_NODE) {
                xmlNode* const reference = node;
                if (!insertReplacement(reference)) {
                    return false;
                }
                node = reference->next; // the first node of the replacement, which may hold references
                xmlUnlinkNode(reference);
                xmlFreeNode(reference);
                continue;
            }
            if (node->type == XML_ELEMENT_NODE && !expandChildrenOf(node, depth + 1)) {
                return false;
            }
            node = node->next;
        }
        return true;
    }

    /// Puts a copy of the entity's nodes behind the reference to it.
    bool insertReplacement(xmlNode* reference) {
        const xmlEntity* const entity = xmlGetDocEntity(reference->doc, reference->name);
        xmlNode* const content = entity != nullptr ? entity->children : nullptr;
        size += nodeSize + sizeOf(content);
        if (size > maximumExpansion) {
            return false;
        }
        xmlNode* before = reference;
        for (xmlNode* node = content; node != nullptr; node = node->next) {
            before = linkBehind(before, allocated(xmlDocCopyNode(node, reference->doc, 1)));
        }
        return true;
    }

    /// The library's own operation would merge texts, and so free the node it was given.
    static xmlNode* linkBehind(xmlNode* before, xmlNode* node) {
        node->parent = before->parent;
        node->prev = before;
        node->next = before->next;
        before->next = node;
        (node->next != nullptr ? node->next->prev : node->parent->last) = node;
        return node;
    }

    static std::size_t sizeOf(const xmlNode* list) {
        std::size_t sum = 0;
        for (const xmlNode* node = list; node != nullptr; node = node->next) {
            sum += nodeSize;
            if (node->type == XML_ELEMENT_NODE) {
                sum += sizeOf(node->children);
            } else if (node->type != XML_ENTITY_REF_NODE && node->content != nullptr) {
                sum += std::char_traits<char>::length(asText(node->content));
            }
        }
        return sum;
    }
};

/// The encoding is the one that the text declares or shows by its byte order mark.
std::optional<XmlError> parse(const std::string& content, Document& parsed) {
    initialise();
    const Silence silence;
    const Parser parser(allocated(xmlNewParserCtxt()));
    Demand demand;
    parser->_private = &demand;
    parser->sax->serror = &ignoreError;
    parser->sax->getParameterEntity = &limitedParameterEntity;
    parser->sax->attributeDecl = &limitedAttributeDeclaration;
    if (content.size() > INT_MAX) {
        return XmlError{eFail, "The document is too large"};
    }
    parsed.reset(xmlCtxtReadMemory(parser.get(), content.data(), static_cast<int>(content.size()), nullptr,
                                   nullptr, XML_PARSE_NONET | XML_PARSE_COMPACT));
    if (demand.isBeyondMeasure() ||
        (parsed != nullptr && parsed->intSubset != nullptr && !EntityExpansion().run(parsed.get()))) {
        parsed.reset();
        return XmlError{XML_ERR_ENTITY_LOOP, "The declarations of the document demand beyond measure"};
    }
    if (parsed == nullptr) {
        return parseError(parser->lastError);
    }
    return std::nullopt;
}

const xmlNode* asNode(const void* node) { return static_cast<const xmlNode*>(node); }

bool isElementNamed(const xmlNode* node, const std::string& name) {
    return node->type == XML_ELEMENT_NODE && node->ns == nullptr &&
           std::strcmp(name.c_str(), asText(node->name)) == 0;
}

/// The next node in document order.
const xmlNode* following(const xmlNode* node) {
    if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
        return node->children;
    }
    while (node != nullptr && node->next == nullptr) {
        node = node->parent;
    }
    return node != nullptr ? node->next : nullptr;
}

std::string utf8TextOf(const xmlNode* node) {
    const Text content(xmlNodeGetContent(node));
    return content != nullptr ? trimmed(asText(content.get()), xmlWhiteSpace) : std::string();
}

std::string textOf(const xmlNode* node) { return utf8ToNarrow(utf8TextOf(node)); }

ComError evaluationError(const xmlError& error, const std::string& path) {
    return {eFail, wordsOf(error, "The path is not valid") + ": " + path};
}

} // namespace

namespace orvel::platform {

XmlElement XmlElement::child(const std::string& name) const {
    const std::string wanted = narrowToUtf8(name);
    const xmlNode* found = node != nullptr ? asNode(node)->children : nullptr;
    while (found != nullptr && !isElementNamed(found, wanted)) {
        found = found->next;
    }
    return XmlElement(found);
}

std::string XmlElement::text() const { return node != nullptr ? textOf(asNode(node)) : std::string(); }

std::string XmlElement::utf8Text() const {
    return node != nullptr ? utf8TextOf(asNode(node)) : std::string();
}

void XmlDocument::Release::operator()(void* document) const noexcept {
    xmlFreeDoc(static_cast<xmlDoc*>(document));
}

XmlDocument::XmlDocument() = default;
XmlDocument::XmlDocument(XmlDocument&& other) noexcept = default;
XmlDocument& XmlDocument::operator=(XmlDocument&& other) noexcept = default;
XmlDocument::~XmlDocument() = default;

XmlDocument::XmlDocument(Tree adopted) noexcept : tree(std::move(adopted)) {}

std::optional<XmlError> XmlDocument::load(const std::string& narrowFileName) {
    tree.reset();
    std::string content;
    if (const std::error_code error = readFile(narrowFileName.c_str(), content)) {
        return readError(narrowFileName, error);
    }
    Document parsed;
    std::optional<XmlError> error = parse(content, parsed);
    tree.reset(parsed.release());
    return error;
}

XmlDocument XmlDocument::clone() const {
    return XmlDocument(tree != nullptr ? Tree(allocated(xmlCopyDoc(static_cast<xmlDoc*>(tree.get()), 1)))
                                       : Tree());
}

XmlElement XmlDocument::firstElement(const std::string& name) const {
    const std::string wanted = narrowToUtf8(name);
    const xmlNode* found = tree != nullptr ? static_cast<const xmlDoc*>(tree.get())->children : nullptr;
    while (found != nullptr && !isElementNamed(found, wanted)) {
        found = following(found);
    }
    return XmlElement(found);
}

std::optional<std::string> XmlDocument::evaluate(const std::string& path) {
    initialise();
    const Silence silence;
    if (tree == nullptr) {
        tree.reset(allocated(xmlNewDoc(nullptr))); // a path can be invalid without content, too
    }
    const PathContext context(allocated(xmlXPathNewContext(static_cast<xmlDoc*>(tree.get()))));
    context->error = &ignoreError;
    const PathResult result(xmlXPathEval(asXml(narrowToUtf8(path)), context.get()));
    if (result == nullptr || result->type != XPATH_NODESET) {
        throw evaluationError(context->lastError, path);
    }
    if (xmlXPathNodeSetIsEmpty(result->nodesetval)) {
        return std::nullopt;
    }
    xmlXPathNodeSetSort(result->nodesetval); // a union comes in the order of its parts
    return textOf(result->nodesetval->nodeTab[0]);
}

bool XmlDocument::isElementName(const std::string& name) {
    const std::string utf8 = narrowToUtf8(name);
    return xmlCheckUTF8(asXml(utf8)) != 0 && xmlValidateNCName(asXml(utf8), 0) == 0;
}

} // namespace orvel::platform
