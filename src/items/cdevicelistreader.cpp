#include "cdevicelistreader.h"

#include <cstring>
#include <memory>
#include <vector>

// The parser reports errors through parse_error_handler() instead of throwing its own
// exception type; the handler must not return, since the parser's code after the call assumes
// the document ended there.
#define RAPIDXML_NO_EXCEPTIONS
#include <rapidxml/rapidxml.hpp>

namespace {

// Thrown by the handler and caught in read() alone. Unwinding is what the parser's own
// exception build does at the same points: everything it allocated lives in the document's
// memory pool, which the document's destructor frees, so nothing leaks and no frame is skipped
// without its destructors (as longjmp would).
struct ParseError
{
    const char *what;
    const char *where;
};

using Document = rapidxml::xml_document<char>;
using Node = rapidxml::xml_node<char>;

// Each element the parser can descend into starts with '<' followed by a name; '</', '<?' and
// '<!' never open a nesting level. Counting them over-estimates, never under-estimates.
std::size_t countElementStarts(const std::vector<char> &text)
{
    std::size_t count = 0;
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        if (text[i] == '<' && !std::strchr("/?!", text[i + 1]))
            ++count;
    }
    return count;
}

bool hasName(const Node *node, const char *name, std::size_t size)
{
    return node->name_size() == size && std::memcmp(node->name(), name, size) == 0;
}

const Node *firstChildElement(const Node *parent)
{
    for (const Node *node = parent->first_node(); node; node = node->next_sibling()) {
        if (node->type() == rapidxml::node_element)
            return node;
    }
    return nullptr;
}

std::string attributeValue(const Node *element, const char *name)
{
    const auto *attribute = element->first_attribute(name, std::strlen(name));
    return attribute ? std::string(attribute->value(), attribute->value_size()) : std::string();
}

} // namespace

namespace rapidxml {

void parse_error_handler(const char *what, void *where)
{
    throw ParseError{what, static_cast<const char *>(where)};
}

} // namespace rapidxml

namespace glyphd {

CDeviceListReader::Result CDeviceListReader::read(const std::string &document)
{
    // The parser works in place and stops at the first NUL byte.
    std::vector<char> text(document.begin(), document.end());
    text.push_back('\0');

    Result result;
    if (countElementStarts(text) > maxElements) {
        result.error = "more than " + std::to_string(maxElements) + " elements";
        return result;
    }

    // The document keeps a 64 KiB memory pool inside itself: not for the stack.
    const auto parsed = std::make_unique<Document>();
    try {
        parsed->parse<rapidxml::parse_default>(text.data());
    } catch (const ParseError &error) {
        const std::size_t offset = error.where ? std::size_t(error.where - text.data()) : 0;
        result.error = std::string(error.what) + " at byte " + std::to_string(offset);
        return result;
    }

    const Node *root = firstChildElement(parsed.get());
    const Node *first = root ? firstChildElement(root) : nullptr;
    if (!first)
        return result;
    for (const Node *node = first; node; node = node->next_sibling()) {
        if (node->type() != rapidxml::node_element ||
            !hasName(node, first->name(), first->name_size()))
            continue;
        result.devices[attributeValue(node, "path")] = attributeValue(node, "state");
    }
    return result;
}

} // namespace glyphd
