#pragma once

#include <libxml/xmlreader.h>

#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include "backends/documents/ZipArchive.h"

namespace nookery {

/// Walks through an XML part without holding it in memory. Opens nothing but the part, follows no
/// external reference and expands no entity that the part declares. Neither movable nor copyable.
class XmlReader {
  public:
    enum class Node { start, end, text };

    explicit XmlReader(ZipPart part, DocumentReading& reading);
    ~XmlReader();
    XmlReader(const XmlReader&) = delete;
    XmlReader& operator=(const XmlReader&) = delete;

    /// Goes on to the next start of an element, end of an element or text; false at the end.
    /// Every start has its end. Throws DocumentError when the part is damaged or nested too deeply.
    bool next();

    /// After a start: goes on to the element's end, past all it holds.
    void skipElement();

    Node node() const { return node_; }
    bool isStart(std::string_view name) const {
        return node_ == Node::start && this->name() == name;
    }
    bool isEnd(std::string_view name) const { return node_ == Node::end && this->name() == name; }

    /// The element's name without its prefix. Valid until `next`, as is `text`.
    std::string_view name() const;
    std::string_view text() const;
    /// Of the start just read: the attribute of this name, without its prefix, whose namespace ends
    /// with `namespaceEnd`. Empty when there is none.
    std::string attribute(std::string_view name, std::string_view namespaceEnd = {}) const;

  private:
    static int readBytes(void* context, char* buffer, int byteCount);
    bool advance();
    void refuseHugeTags(std::string_view bytes);

    ZipPart part_;
    DocumentReading& reading_;
    std::exception_ptr failure_;  ///< thrown while the library asked for bytes
    xmlTextReaderPtr reader_ = nullptr;
    Node node_ = Node::text;
    std::size_t valueCount_ = 0;  ///< places that look like attributes, since the last "<"
    bool isAfterEquals_ = false;
    bool endIsDue_ = false;
};

}  // namespace nookery
