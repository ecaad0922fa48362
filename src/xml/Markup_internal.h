/*
 * Markup_internal.h - private records of the navigator: the element index
 * (ElemPos records in ElemPosTree segments), the scanning cursor TokenPos and
 * its NodePos, the end-tag matching stack, path names and the byte classes.
 * Included only by the navigator's own sources.
 */
#ifndef PAVO_XML_MARKUP_INTERNAL_H
#define PAVO_XML_MARKUP_INTERNAL_H

#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "xml/Markup.h"

// Element flags above the 16-bit nesting level.
enum : int {
    MNF_LEVELMASK = 0xffff,
    MNF_FIRST = 0x10000,      // first child of its parent
    MNF_ILLDATA = 0x20000,    // a syntax error was met inside this element
    MNF_NONENDED = 0x40000,   // start tag never ended
    MNF_ILLFORMED = 0x80000,  // on the document record: the document is ill formed
};

struct ElemPos {
    int nStart;
    int nLength;
    unsigned int nStartTagLen : 22;
    unsigned int nEndTagLen : 10;
    int nFlags;
    int iElemParent;
    int iElemChild;
    int iElemNext;
    int iElemPrev;  // of the first child: the last child
};
static_assert(sizeof(ElemPos) == 32, "two tag lengths share one word");

constexpr int kMaxStartTagLen = (1 << 22) - 1;
constexpr int kMaxEndTagLen = (1 << 10) - 1;

// Records live in segments of 65536 so an index is (segment << 16) | slot.
// Only a partial last segment is ever reallocated; full ones never move.
struct ElemPosTree {
    static constexpr int kSegBits = 16;
    static constexpr int kSegSize = 1 << kSegBits;

    ElemPosTree() = default;
    ElemPosTree(const ElemPosTree&) = delete;
    ElemPosTree& operator=(const ElemPosTree&) = delete;
    ~ElemPosTree() { ReleaseElemPosTree(); }

    ElemPos& GetRefElemPosAt(int i) const { return m_pSegs[i >> kSegBits][i & (kSegSize - 1)]; }
    void GrowElemPosTree(int nNewSize);
    void ReleaseElemPosTree();

    ElemPos** m_pSegs = nullptr;
    int m_nSize = 0;
    int m_nSegs = 0;
};

// Byte classes used by every scanner; the document never holds a zero byte,
// so zero ends every scan.
enum : unsigned char {
    kCharSpace = 1,
    kCharNameStart = 2,   // may follow "<" to open a start tag
    kCharTagNameEnd = 4,  // ends a tag name
    kCharTokenEnd = 8,    // ends an unquoted token inside a tag
    kCharTagScan = 16,    // needs a look while finding a start tag's end
    kCharNameStep = 32,   // may follow a name argument's name: " =/[]"
    kCharTagStop = 64,    // ">", a quote or the end: where a start tag's scan looks
};

constexpr std::array<unsigned char, 256> MakeCharClasses()
{
    std::array<unsigned char, 256> classes{};
    for (int c = 0; c < 256; ++c) {
        unsigned char k = 0;
        const bool space = c == ' ' || c == '\t' || c == '\n' || c == '\r';
        if (space)
            k |= kCharSpace;
        // "{", "|", "}", "~" and DEL start names too: kept as the platform's parser has it.
        if ((c >= 'A' && c <= 'Z') || c == '_' || c == ':' || c >= 97)
            k |= kCharNameStart;
        if (space || c == 0 || c == '<' || c == '>' || c == '=' || c == '\\' || c == '/' ||
            c == '?' || c == '!' || c == '"' || c == '\'' || c == ';')
            k |= kCharTagNameEnd;
        if (space || c == 0 || c == '=' || c == '>' || c == '/' || c == '?')
            k |= kCharTokenEnd;
        if (space || c == 0 || c == '=' || c == '>' || c == '/' || c == '?' || c == '"' ||
            c == '\'')
            k |= kCharTagScan;
        if (c == ' ' || c == '=' || c == '/' || c == '[' || c == ']')
            k |= kCharNameStep;
        if (c == '>' || c == '"' || c == '\'' || c == 0)
            k |= kCharTagStop;
        classes[static_cast<size_t>(c)] = k;
    }
    return classes;
}
inline constexpr std::array<unsigned char, 256> kCharClass = MakeCharClasses();

inline bool CharIs(char c, unsigned char k)
{
    return (kCharClass[static_cast<unsigned char>(c)] & k) != 0;
}

constexpr char AsciiLower(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + ('a' - 'A')) : c;
}

// Length of the tag name at p (stops at the first tag-name delimiter).
inline int TagNameLength(const char* p)
{
    const char* q = p;
    while (!CharIs(*q, kCharTagNameEnd))
        ++q;
    return static_cast<int>(q - p);
}

// Equal bytes; with bIgnoreCase ASCII letters fold until a byte above 127 has
// matched, after which the rest compares exactly.
inline bool NameBytesEqual(const char* a, const char* b, int n, bool bIgnoreCase)
{
    if (!bIgnoreCase)
        return std::memcmp(a, b, static_cast<size_t>(n)) == 0;
    bool bExact = false;
    for (int i = 0; i < n; ++i) {
        if (a[i] != b[i] && (bExact || AsciiLower(a[i]) != AsciiLower(b[i])))
            return false;
        if (static_cast<unsigned char>(a[i]) > 127)
            bExact = true;
    }
    return true;
}

// A document name of n bytes matches szName (nNameLen bytes) when szName
// starts with it and ends there or goes on with one of " =/[]" (a path step
// or a predicate). The cheap length and continuation tests come first.
inline bool MatchName(const char* pName, int n, const char* szName, size_t nNameLen,
                      bool bIgnoreCase)
{
    if (static_cast<size_t>(n) > nNameLen)
        return false;
    const char c = szName[n];
    if (c != '\0' && c != ' ' && c != '=' && c != '/' && c != '[' && c != ']')
        return false;
    if (bIgnoreCase)
        return NameBytesEqual(pName, szName, n, true);
    for (int i = 0; i < n; ++i)
        if (pName[i] != szName[i])
            return false;
    return true;
}

// Sum of the bytes as signed characters, modulo nSize (130 for entity names).
constexpr int x_Hash(const char* p, int nSize)
{
    int nSum = 0;
    while (*p)
        nSum += static_cast<signed char>(*p++);
    return nSum % nSize;
}

// One node found by TokenPos::ParseNode.
struct NodePos {
    int nNodeType = 0;
    int nStart = 0;
    int nLength = 0;
    int nNodeFlags = 0;             // MNF_EMPTYTAG on an empty-element tag
    const char* strMeta = nullptr;  // the finding's name for malformed markup
};
constexpr int MNF_EMPTYTAG = 1;

// Scanning cursor over the document text.
struct TokenPos {
    static constexpr int kTokenQuoted = 0x10000;

    TokenPos(const char* szDoc, int nFlags)
        : m_nL(0), m_nR(-1), m_nNext(0), m_pDocText(szDoc), m_nTokenFlags(nFlags),
          m_nPreSpaceStart(0), m_nPreSpaceLength(0), m_pReaderFilePos(nullptr)
    {
    }

    bool IgnoreCase() const { return (m_nTokenFlags & CMarkup::MDF_IGNORECASE) != 0; }
    std::string_view Token() const
    {
        return std::string_view(m_pDocText + m_nL, static_cast<size_t>(m_nR - m_nL + 1));
    }
    bool FindToken();
    bool NextAttrib(int& nNameL, int& nNameLen);
    int ParseNode(NodePos& node);

    int m_nL;
    int m_nR;
    int m_nNext;
    const char* m_pDocText;
    int m_nTokenFlags;
    int m_nPreSpaceStart;
    int m_nPreSpaceLength;
    FilePos* m_pReaderFilePos;
};

// A name argument parsed as a path: any element, a simple name with optional
// predicates (accepted, not evaluated), an absolute or anywhere path.
struct PathPos {
    enum { kInvalid = -1, kAny = 0, kName = 1, kAbsolute = 2, kAnywhere = 3 };

    PathPos(const char* szPath, bool bIsReader);

    int nPathType;
    bool bReader;
    const char* p;
    int i;
    int iPathAttribName;
    int iSave;
    int nLen;

private:
    bool x_ParsePredicate();
};

// Raw storage for trivial records; large blocks past an array's first are
// huge-page mappings. Freed with the size and place they were taken with.
void* AllocIndexBlock(size_t nBytes, bool bFirst);
void FreeIndexBlock(void* pBlock, size_t nBytes, bool bFirst);

// Records in chunks that never move as the array grows, so nothing is copied:
// chunk c holds 4096 << c records. The first chunks are small enough to come
// back from the allocator's free lists next parse; the late ones are large
// enough for huge pages.
template <typename T>
class ChunkArray {
    static_assert(std::is_trivial_v<T>, "chunks are raw storage");

public:
    static constexpr int kFirstBits = 12;
    ChunkArray() = default;
    ChunkArray(const ChunkArray&) = delete;
    ChunkArray& operator=(const ChunkArray&) = delete;
    ~ChunkArray()
    {
        for (size_t c = 0; c < m_aChunks.size(); ++c)
            FreeIndexBlock(m_aChunks[c], ChunkBytes(c), c == 0);
    }
    T& operator[](int i)
    {
        // Chunks 0..c-1 hold 4096 * (2^c - 1) records.
        const unsigned nUnits = (static_cast<unsigned>(i) >> kFirstBits) + 1;
        const int c = 31 - __builtin_clz(nUnits);
        return m_aChunks[static_cast<size_t>(c)]
                        [static_cast<unsigned>(i) - (((1u << c) - 1) << kFirstBits)];
    }
    void Reserve(int nSize)
    {
        while (m_nCapacity < nSize) {
            const size_t c = m_aChunks.size();
            m_aChunks.reserve(c + 1);
            m_aChunks.push_back(static_cast<T*>(AllocIndexBlock(ChunkBytes(c), c == 0)));
            m_nCapacity += int64_t{1} << (kFirstBits + c);
        }
    }

private:
    static size_t ChunkBytes(size_t c) { return (sizeof(T) << kFirstBits) << c; }
    std::vector<T*> m_aChunks;
    int64_t m_nCapacity = 0;
};

// A tag name as the end-tag matcher compares it: with case ignored, ASCII
// letters fold up to and including the first byte above 127, as NameBytesEqual
// has it; past the end every byte reads as zero, which no name holds.
struct NameKey {
    const char* p;
    int n;
    int nFold;  // bytes before this index fold

    unsigned Byte(int i) const
    {
        if (i >= n)
            return 0;
        return static_cast<unsigned char>(i < nFold ? AsciiLower(p[i]) : p[i]);
    }
    static NameKey Of(std::string_view strName, bool bIgnoreCase);
};

// Open start tags while parsing, as views into the document. Once an end tag
// has matched none of the innermost tags, every tag then open goes into the
// crit-bit tree of its name hash slot (one of 23): each name keeps its leaf
// for the parse, and the leaf knows the newest open tag of the name. So an
// end tag finds its nearest open namesake, or learns there is none, in steps
// bounded by its own length however many open names collide.
// Twelve bytes an open tag: a deep document holds one per level.
struct TagPos {
    int nName;  // offset of the name in the document
    int nNameLen;
    int iParent;  // element index of this open tag: the parent of what follows
};

// Kept apart, for the tags the tree holds only.
struct TagLink {
    int iLeaf;      // the tag's name
    int iSameNext;  // next older open tag of this name in the tree, -1 at the end
};

struct NameLeaf {
    NameKey key;
    int iNewest;  // newest open tag of the name, -1 when none is open
};

// A branch of a slot's tree. A reference is a node index (>= 0), ~leaf or
// kNoRef. The first bit in which the keys below differ decides.
struct CritNode {
    int aChild[2];
    int nByte;
    unsigned nOtherBits;  // every bit but the deciding one
    int iRep;             // a leaf below: all agree before nByte
    int Dir(unsigned c) const { return static_cast<int>((1 + (nOtherBits | c)) >> 8); }
};

struct ElemStack {
    static constexpr int kSlots = 23;
    static constexpr int kNoRef = INT_MIN;

    explicit ElemStack(const char* pDoc);

    static int Slot(std::string_view strName, bool bIgnoreCase);
    void Push(std::string_view strName, int iElem, bool bIgnoreCase);
    int Find(std::string_view strName, bool bIgnoreCase);
    void PopTo(int iEntry);
    std::string_view Name(int iEntry)
    {
        const TagPos& tag = aTags[iEntry];
        return std::string_view(pDocText + tag.nName, static_cast<size_t>(tag.nNameLen));
    }
    int Parent(int iEntry) { return aTags[iEntry].iParent; }

    int iTop;          // innermost open tag, -1 when none
    int iPar;          // element that receives the next child (0: the document)
    long long nSteps;  // tags and branches visited, name bytes compared
    int iIndexed;      // tags below this one are in the tree

private:
    void x_Index(int iTag, bool bIgnoreCase);
    int x_NewLeaf(const NameKey& key);
    int x_Leaf(const NameKey& key, int nSlot);

    const char* pDocText;
    ChunkArray<TagPos> aTags;
    ChunkArray<TagLink> aLinks;
    ChunkArray<NameLeaf> aLeaves;
    ChunkArray<CritNode> aNodes;
    int nLeaves;
    int nNodes;
    int anTable[kSlots];
};

inline ElemPos& CMarkup::ELEM(int i) const { return m_pElemPosTree->GetRefElemPosAt(i); }

// The text with its character references decoded (UTF-8 output).
void AppendUnescaped(std::string& strOut, const char* pText, size_t nLength);
std::string UnescapedCopy(const char* pText, size_t nLength);

#endif
