// Reading XML by local names, since devices choose their own namespace prefixes.
#pragma once

#include <pugixml.hpp>

#include <cstring>
#include <string>
#include <string_view>

namespace lumo::net::xml
{

inline std::string_view localName(const pugi::xml_node& node)
{
    const char* name = node.name();
    const char* colon = std::strchr(name, ':');
    return colon ? colon + 1 : name;
}

inline pugi::xml_node child(const pugi::xml_node& parent, std::string_view name)
{
    for (const auto& c : parent.children())
        if (localName(c) == name)
            return c;
    return {};
}

/// The first element of that name anywhere below, in document order.
inline pugi::xml_node find(const pugi::xml_node& root, std::string_view name)
{
    return root.find_node([&](const pugi::xml_node& n) { return localName(n) == name; });
}

inline std::string text(const pugi::xml_node& node)
{
    return node.text().get();
}

/// Calls f with every element of that name, in document order.
template <typename F> void each(const pugi::xml_node& root, std::string_view name, F&& f)
{
    struct Walker : pugi::xml_tree_walker {
        std::string_view name;
        F* f = nullptr;
        bool for_each(pugi::xml_node& node) override
        {
            if (localName(node) == name)
                (*f)(node);
            return true;
        }
    } walker;
    walker.name = name;
    walker.f = &f;
    pugi::xml_node copy = root;
    copy.traverse(walker);
}

inline bool load(pugi::xml_document& doc, std::string_view text)
{
    return bool(doc.load_buffer(text.data(), text.size()));
}

inline std::string escaped(std::string_view s)
{
    std::string out;
    for (const char c : s) {
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else if (c == '"')
            out += "&quot;";
        else
            out += c;
    }
    return out;
}

} // namespace lumo::net::xml
