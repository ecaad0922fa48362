// Hostile and plain document shapes of any size for the navigator, shared by the
// benchmark (time per byte must stay flat as documents grow) and the test that
// counts the end-tag matcher's work. Each shape is a few lines of one idea.
#ifndef PAVO_BENCH_MARKUP_SHAPES_H
#define PAVO_BENCH_MARKUP_SHAPES_H

#include <string>

#include "xml/Markup.h"

namespace markup_shapes {

// Name number i of a family whose members all have the same byte sum, so every
// one lands in the same slot of any sum-based name hash. Each byte comes with
// its complement; high bytes use 0x80..0xBF, which are negative as signed chars.
inline std::string SameSumName(int i, bool bHighBytes)
{
    std::string name;
    for (int k = 0; k < 4; ++k, i /= 26) {
        const int d = i % 26;
        name += static_cast<char>(bHighBytes ? 0x80 + d : 'a' + d);
        name += static_cast<char>(bHighBytes ? 0xBF - d : 'z' - d);
    }
    return name;
}

enum Shape {
    kLoneColliding,   // many open names of one slot, then end tags of another name of it
    kLoneHighBytes,   // the same with bytes above 127 in every name
    kLonePlain,       // end tags that match nothing at all
    kCollidingPairs,  // siblings of colliding names, each closed at once
    kDeepNesting,     // one name nested and closed again
    kDeepUnclosed,    // distinct names nested, closed by the outermost end tag only
    kNamePrefixes,    // ever longer names with one prefix, then short push/pop and lone tags
    kManyAttributes,  // one start tag with a great many attributes
    kManySiblings,    // a flat list, as a long catalogue answer
    kEntityText,      // text and attribute values dense with references
    kShapeCount
};

inline const char* ShapeName(int shape)
{
    static const char* const names[kShapeCount] = {
        "lone_colliding", "lone_high_bytes", "lone_plain",      "colliding_pairs", "deep_nesting",
        "deep_unclosed",  "name_prefixes",   "many_attributes", "many_siblings",   "entity_text"};
    return names[shape];
}

// A document of the shape, about nBytes long.
inline std::string MakeShape(int shape, size_t nBytes)
{
    std::string doc = "<r>";
    const auto half = [&] { return doc.size() < nBytes / 2; };
    const auto more = [&] { return doc.size() + 16 < nBytes; };
    const std::string stranger = SameSumName(26 * 26 * 26 * 26 - 1, shape == kLoneHighBytes);
    int i = 0;
    switch (shape) {
    case kLoneColliding:
    case kLoneHighBytes:
        while (half())
            doc += "<" + SameSumName(i++, shape == kLoneHighBytes) + ">";
        while (more())
            doc += "</" + stranger + ">";
        break;
    case kLonePlain:
        while (more())
            doc += "</x>";
        break;
    case kCollidingPairs:
        for (; more(); ++i)
            doc += "<" + SameSumName(i, false) + ">t</" + SameSumName(i, false) + ">";
        break;
    case kDeepNesting:
        while (half())
            doc += "<d>";
        for (size_t n = (doc.size() - 3) / 3; n > 0; --n)
            doc += "</d>";
        break;
    case kDeepUnclosed:
        while (more())
            doc += "<" + SameSumName(i++, false) + ">";
        break;
    case kNamePrefixes:
        // "p" against "n" branches on a bit that "n" lacks, so a zero byte past
        // a short name's end would follow the long names down.
        for (std::string name = "n"; half(); name += 'n')
            doc += "<" + name + "p>";
        while (more())
            doc += "<n></n></c>";
        break;
    case kManyAttributes:
        doc += "<e";
        while (more())
            doc += " a" + std::to_string(i++) + "='v'";
        doc += "/>";
        break;
    case kManySiblings:
        while (more())
            doc += "<i a='" + std::to_string(i++ % 1000) + "'>x</i>";
        break;
    case kEntityText:
        while (more())
            doc += "<t a='&amp;&#x41;'>&lt;&#65;&eacute;&unknown;&#x1F600;</t>";
        break;
    }
    return doc + "</r>";
}

// Parses and then visits every element as a parser would (its text and one
// attribute); returns the elements visited.
inline long WalkAll(CMarkup& xml, const std::string& doc)
{
    xml.SetDoc(doc);
    long nElems = 0;
    size_t nRead = 0;
    for (;;) {
        if (xml.FindElem()) {
            ++nElems;
            nRead += xml.GetData().size() + xml.GetAttrib("a").size();
            xml.IntoElem();
        } else if (!xml.OutOfElem()) {
            break;
        }
    }
    return nElems + static_cast<long>(nRead > 0);
}

}  // namespace markup_shapes

#endif
