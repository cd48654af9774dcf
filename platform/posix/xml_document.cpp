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
using PathEvaluation = std::unique_ptr<xmlXPathParserContext, Freed<&xmlXPathFreeParserContext>>;
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

/// What the library reports on this thread while the object lives, instead of printing it.
///
/// Kept is the first error of the gravest kind: those behind it are often its consequences, warnings are remarks.
class Reports {
public:
    Reports()
        : context(xmlStructuredErrorContext),
          handler(xmlStructuredError),
          printContext(xmlGenericErrorContext),
          print(xmlGenericError) {
        xmlSetStructuredErrorFunc(this, &receive);
        xmlSetGenericErrorFunc(nullptr, &ignore);
    }
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;
    ~Reports() {
        xmlSetStructuredErrorFunc(context, handler);
        xmlSetGenericErrorFunc(printContext, print);
    }

    /// The library goes on when an allocation fails, with less than there is.
    void requireMemory() const {
        if (outOfMemory) {
            throw std::bad_alloc();
        }
    }
    int code() const { return gravest.code; }
    int line() const { return gravest.line; }
    const std::string& words() const { return gravest.words; }

    static void receive(void* reports, xmlErrorPtr error) { static_cast<Reports*>(reports)->take(*error); }

private:
    struct Report {
        xmlErrorLevel level = XML_ERR_WARNING;
        int code = XML_ERR_INTERNAL_ERROR;
        int line = 0;
        std::string words;
    };

    void* context;
    xmlStructuredErrorFunc handler;
    void* printContext;
    xmlGenericErrorFunc print;
    Report gravest;
    bool outOfMemory = false;

    // NOLINTNEXTLINE(cert-dcl50-cpp): the library's own signature
    static void ignore(void* /*context*/, const char* /*format*/, ...) {}

    void take(const xmlError& error) noexcept {
        if (error.code == XML_ERR_NO_MEMORY) {
            outOfMemory = true;
        } else if (error.level > gravest.level) {
            keep(error);
        }
    }
    void keep(const xmlError& error) noexcept {
        try {
            gravest = {error.level, error.code, error.line, error.message != nullptr ? error.message : ""};
        } catch (...) { // through the library's C no exception may pass
            outOfMemory = true;
        }
    }
};

std::string trimmed(std::string_view text, const char* blanks) {
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string_view::npos
               ? std::string()
               : std::string(text.substr(first, text.find_last_not_of(blanks) - first + 1));
}

/// What the library says about the error; in our own words when that cannot be had in the narrow encoding.
XmlError parseError(const Reports& reports) {
    std::string reason;
    try {
        reason = trimmed(utf8ToNarrow(reports.words()), xmlWhiteSpace);
    } catch (const std::runtime_error&) { // it quotes a character that the narrow encoding lacks
        reason.clear();
    }
    if (reason.empty()) {
        reason = "The document is not well-formed";
    }
    return {static_cast<std::uint32_t>(reports.code()),
            reports.line() > 0 ? reason + " (line " + std::to_string(reports.line()) + ")" : reason};
}

/// A file that is not there has no words of the parser's.
XmlError readError(const std::error_code& error) {
    const std::uint32_t code = error == std::errc::no_such_file_or_directory ? eFileNotFound
                               : error == std::errc::permission_denied       ? eAccessDenied
                                                                             : eFail;
    return {code, error.message()};
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
    bool lostDeclaration = false; // for want of memory

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
    if (demand.isBeyondMeasure()) {
        xmlStopParser(parser);
        return nullptr;
    }
#if LIBXML_VERSION < 21100
    // Its own count of what the entity stands for frees the parser's input twice when an allocation fails.
    if (entity != nullptr && entity->checked == 0) {
        entity->checked = 1;
    }
#endif
    return entity;
}

/// The library says nothing when an allocation fails as it keeps a declaration, and takes the entity for undeclared.
void checkedEntityDeclaration(void* context, const xmlChar* name, int type, const xmlChar* publicId,
                              const xmlChar* systemId, xmlChar* content) {
    auto* const parser = static_cast<xmlParserCtxt*>(context);
    xmlSAX2EntityDecl(context, name, type, publicId, systemId, content);
    const bool isParameter = type == XML_INTERNAL_PARAMETER_ENTITY || type == XML_EXTERNAL_PARAMETER_ENTITY;
    const xmlEntity* const kept =
        isParameter ? xmlGetParameterEntity(parser->myDoc, name) : xmlGetDocEntity(parser->myDoc, name);
    demandOf(parser).lostDeclaration |= kept == nullptr;
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
        xmlEntity* const entity = xmlGetDocEntity(reference->doc, reference->name);
        if (entity != nullptr && entity->etype == XML_INTERNAL_GENERAL_ENTITY &&
            entity->children == nullptr) {
            buildContent(entity);
        }
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

    /// The parser builds an entity's nodes at the first reference in content, unless a namespace declaration or an
    /// attribute's default value has mentioned it before: then it has none. No such entity holds markup.
    static void buildContent(xmlEntity* entity) {
        entity->children = xmlStringGetNodeList(entity->doc, entity->content);
        entity->owner = 1;
        for (xmlNode* node = entity->children; node != nullptr; node = node->next) {
            node->parent = reinterpret_cast<xmlNode*>(entity);
            entity->last = node;
        }
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

std::optional<XmlError> parseOnce(const std::string& content, Document& parsed) {
    initialise();
    const Reports reports;
    const Parser parser(allocated(xmlNewParserCtxt()));
    Demand demand;
    parser->_private = &demand;
    parser->sax->entityDecl = &checkedEntityDeclaration;
    parser->sax->getParameterEntity = &limitedParameterEntity;
    parser->sax->attributeDecl = &limitedAttributeDeclaration;
    if (content.size() > INT_MAX) {
        return XmlError{eFail, "The document is too large"};
    }
    parsed.reset(xmlCtxtReadMemory(parser.get(), content.data(), static_cast<int>(content.size()), nullptr,
                                   nullptr, XML_PARSE_NONET | XML_PARSE_COMPACT));
    const bool isBounded = !demand.isBeyondMeasure() && (parsed == nullptr || parsed->intSubset == nullptr ||
                                                         EntityExpansion().run(parsed.get()));
    reports.requireMemory();
    if (demand.lostDeclaration) {
        throw std::bad_alloc();
    }
    if (!isBounded) {
        parsed.reset();
        return XmlError{XML_ERR_ENTITY_LOOP, "The declarations of the document demand beyond measure"};
    }
    if (parsed == nullptr) {
        return parseError(reports);
    }
    return std::nullopt;
}

/// The encoding is the one that the text declares or shows by its byte order mark.
std::optional<XmlError> parse(const std::string& content, Document& parsed) {
    std::optional<XmlError> error = parseOnce(content, parsed);
    // The parser says so, too, when it has no memory for a converter.
    return error && error->code == XML_ERR_UNSUPPORTED_ENCODING ? parseOnce(content, parsed) : error;
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

using ChildIndex = std::unordered_map<std::string_view, const void*>;

/// So many that finding one by hash costs less than looking at them.
bool hasManyChildren(const xmlNode* node) {
    int count = 0;
    for (const xmlNode* child = node->children; child != nullptr && count <= 32; child = child->next) {
        ++count;
    }
    return count > 32;
}

std::string utf8TextOf(const xmlNode* node) {
    const Reports reports;
    const Text content(xmlNodeGetContent(node));
    reports.requireMemory();
    return content != nullptr ? trimmed(asText(content.get()), xmlWhiteSpace) : std::string();
}

std::string textOf(const xmlNode* node) { return utf8ToNarrow(utf8TextOf(node)); }

/// What `xmlXPathEval` does, which frees its state twice when there is no memory for the stack.
PathResult evaluated(const std::string& path, xmlXPathContext* context) {
    constexpr int initialStack = 10;
    const PathEvaluation evaluation(allocated(xmlXPathNewParserContext(asXml(path), context)));
    evaluation->valueTab =
        static_cast<xmlXPathObject**>(allocated(xmlMalloc(initialStack * sizeof(xmlXPathObject*))));
    evaluation->valueMax = initialStack;
    xmlXPathEvalExpr(evaluation.get());
    return PathResult(evaluation->error == XPATH_EXPRESSION_OK ? valuePop(evaluation.get()) : nullptr);
}

} // namespace

namespace orvel::platform {

XmlElement XmlElement::child(const std::string& name) const {
    const std::string wanted = narrowToUtf8(name);
    if (node != nullptr && asNode(node)->_private != nullptr) {
        const auto& known = *static_cast<const ChildIndex*>(asNode(node)->_private);
        const auto entry = known.find(wanted);
        return XmlElement(entry != known.end() ? entry->second : nullptr);
    }
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
    Document parsed;
    const std::error_code unread = readFile(narrowFileName.c_str(), content);
    std::optional<XmlError> error = unread ? readError(unread) : parse(content, parsed);
    if (error) {
        error->reason.insert(0, "Cannot read " + narrowFileName + ": ");
    }
    tree.reset(parsed.release());
    indexChildren();
    return error;
}

void XmlDocument::indexChildren() {
    children.clear();
    const xmlNode* node = tree != nullptr ? static_cast<const xmlDoc*>(tree.get())->children : nullptr;
    for (; node != nullptr; node = following(node)) {
        if (node->type != XML_ELEMENT_NODE || !hasManyChildren(node)) {
            continue;
        }
        ChildIndex& index = children.emplace_front();
        for (const xmlNode* child = node->children; child != nullptr; child = child->next) {
            if (child->type == XML_ELEMENT_NODE && child->ns == nullptr) {
                index.emplace(asText(child->name), child); // unless one of that name stands before it
            }
        }
        const_cast<xmlNode*>(node)->_private = &index;
    }
}

XmlDocument XmlDocument::clone() const {
    if (tree == nullptr) {
        return {};
    }
    const Reports reports;
    Tree copy(xmlCopyDoc(static_cast<xmlDoc*>(tree.get()), 1));
    reports.requireMemory();
    return XmlDocument(std::move(copy));
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
    Reports reports;
    if (tree == nullptr) {
        tree.reset(allocated(xmlNewDoc(nullptr))); // a path can be invalid without content, too
    }
    const PathContext context(allocated(xmlXPathNewContext(static_cast<xmlDoc*>(tree.get()))));
    context->error = &Reports::receive; // an allocation that fails is reported here alone
    context->userData = &reports;
    const PathResult result = evaluated(narrowToUtf8(path), context.get());
    reports.requireMemory();
    if (result == nullptr || result->type != XPATH_NODESET) {
        throw ComError(eFail, "The path is not valid: " + path);
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
