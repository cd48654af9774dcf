#ifndef ORVEL_PLATFORM_XML_DOCUMENT_H
#define ORVEL_PLATFORM_XML_DOCUMENT_H

#include <cstdint>
#include <forward_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

// Reading XML: a document from a file, elements found in it by name or by XPath 1.0, and their texts. Texts
// and names go in and come out in the narrow encoding; one that cannot be converted raises std::runtime_error.

namespace orvel::platform {

/// Why a document could not be read: a code, never 0, and a reason in words, never empty.
struct XmlError {
    std::uint32_t code;
    std::string reason;
};

/// One element of a document, or none. Valid as long as the document.
class XmlElement {
public:
    XmlElement() = default;
    explicit operator bool() const noexcept { return node != nullptr; }

    /// The first child element of that name; none if there is none, and for a child of none.
    XmlElement child(const std::string& name) const;

    /// All text below the element, comments left out, without white space at its ends; empty for none.
    std::string text() const;

    /// The same in UTF-8; a text that the narrow encoding cannot take has it, too.
    std::string utf8Text() const;

private:
    friend class XmlDocument;
    explicit XmlElement(const void* found) : node(found) {}

    const void* node = nullptr;
};

/// A parsed document. Nothing changes it after `load`: from then on any number of threads may read it at
/// once, its elements included.
///
/// Whatever stands in a document type declaration, reading opens no other file and no connection, and takes
/// memory and time in proportion to the file: entities that it declares itself are replaced, others are
/// nothing, and a document whose entities expand or whose attributes have defaults without measure is refused. One
/// element with tens of thousands of attributes takes seconds, elements nested more than 256 deep are refused.
class XmlDocument {
public:
    /// A document without content, in which nothing is found.
    XmlDocument();
    XmlDocument(XmlDocument&& other) noexcept;
    XmlDocument& operator=(XmlDocument&& other) noexcept;
    ~XmlDocument();

    /// Replaces the content by that of a file.
    ///
    /// @return nothing on success. After a failure the document is without content.
    [[nodiscard]] std::optional<XmlError> load(const std::string& narrowFileName);

    XmlDocument clone() const;

    /// The first element of that name in document order, at any depth.
    XmlElement firstElement(const std::string& name) const;

    /// The text of the first node in document order that an XPath 1.0 path selects; nothing if it selects none.
    ///
    /// The XML library does not promise that an evaluation leaves the tree alone, so this is not for
    /// documents that threads share: they evaluate on a clone.
    ///
    /// @throws ComError  the path is not valid, or does not lead to nodes
    std::optional<std::string> evaluate(const std::string& path);

    /// True for a name that names an element in a path and means nothing else there.
    static bool isElementName(const std::string& name);

private:
    struct Release {
        void operator()(void* document) const noexcept;
    };
    using Tree = std::unique_ptr<void, Release>;

    explicit XmlDocument(Tree adopted) noexcept;

    Tree tree; // null: without content
    /// The first child of each name, for elements with so many children that looking at them one by one takes long. Nodes of
    /// the tree point at their entry.
    std::forward_list<std::unordered_map<std::string_view, const void*>> children;

    void indexChildren();
};

} // namespace orvel::platform

#endif
