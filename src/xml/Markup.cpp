/*
 * Markup.cpp - the navigator's cursor and getters: SetDoc, the element
 * finders, IntoElem/OutOfElem, element data and attributes, and the findings
 * record. The answer parsers (src/parse) drive these; the document itself is
 * read by the navigator's parser.
 */
#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>

#include "xml/Markup_internal.h"

CMarkup::CMarkup()
    : m_iPosParent(0), m_iPos(0), m_iPosChild(0), m_iPosFree(0), m_iPosDeleted(0), m_nNodeType(0),
      m_nNodeOffset(0), m_nNodeLength(0), m_nDocFlags(0), m_pFilePos(nullptr),
      m_pSavedPosMaps(nullptr), m_pElemPosTree(new ElemPosTree), m_iAttribElem(0),
      m_nAttribNext(-1), m_nAttribCount(0), m_bAttribDistinct(false), m_nAttribGuess(0),
      m_aAttribSpans()
{
    SetDoc(nullptr);
}

CMarkup::~CMarkup() = default;

bool CMarkup::SetDoc(const char* szDoc)
{
    if (m_nDocFlags & (MDF_READFILE | MDF_WRITEFILE))
        return false;
    m_strResult.clear();
    if (szDoc) {
        const size_t nLength = std::strlen(szDoc);
        if (nLength > static_cast<size_t>(INT_MAX)) {
            // Offsets are int; such a text is refused rather than half indexed.
            m_strDoc.clear();
            x_ParseDoc();
            x_AddResult("document_too_long");
            return false;
        }
        m_strDoc.assign(szDoc, nLength);
    } else {
        m_strDoc.clear();
        m_pElemPosTree->ReleaseElemPosTree();
    }
    return x_ParseDoc();
}

// The scanners end at the first zero byte, so a string is taken up to it too.
bool CMarkup::SetDoc(const std::string& strDoc) { return SetDoc(strDoc.c_str()); }

bool CMarkup::IsWellFormed() const
{
    if (m_nDocFlags & MDF_WRITEFILE)
        return true;
    if (m_pElemPosTree->m_nSize == 0)
        return false;
    const ElemPos& doc = ELEM(0);
    if (doc.nFlags & MNF_ILLFORMED)
        return false;
    return doc.iElemChild != 0 && ELEM(doc.iElemChild).iElemNext == 0;
}

// The one setter of the cursor.
void CMarkup::x_SetPos(int iPosParent, int iPos, int iPosChild)
{
    m_iPosParent = iPosParent;
    m_iPos = iPos;
    m_iPosChild = iPosChild;
    m_nNodeType = iPos ? MNT_ELEMENT : 0;
    m_nNodeOffset = 0;
    m_nNodeLength = 0;
}

// Next element after iPos among the children of iPosParent (from the first
// child when iPos is 0) whose name matches; 0 if none. Predicates and further
// path steps are not evaluated; absolute and anywhere paths find nothing.
int CMarkup::x_FindElem(int iPosParent, int iPos, const PathPos& path) const
{
    if (m_pElemPosTree->m_nSize == 0)
        return 0;
    if (path.nPathType != PathPos::kAny && path.nPathType != PathPos::kName)
        return 0;
    iPos = iPos ? ELEM(iPos).iElemNext : ELEM(iPosParent).iElemChild;
    if (path.nPathType == PathPos::kAny)
        return iPos;
    const bool bIgnoreCase = (m_nDocFlags & MDF_IGNORECASE) != 0;
    const char* pDoc = m_strDoc.c_str();
    const size_t nNameLen = std::strlen(path.p);
    for (; iPos != 0; iPos = ELEM(iPos).iElemNext) {
        const char* pName = pDoc + ELEM(iPos).nStart + 1;
        while (CharIs(*pName, kCharSpace))
            ++pName;
        if (MatchName(pName, TagNameLength(pName), path.p, nNameLen, bIgnoreCase))
            return iPos;
    }
    return 0;
}

bool CMarkup::FindElem(MCD_CSTR szName)
{
    if ((m_nDocFlags & MDF_WRITEFILE) || m_pElemPosTree->m_nSize == 0)
        return false;
    const int iPos = x_FindElem(m_iPosParent, m_iPos, PathPos(szName, false));
    if (iPos == 0)
        return false;
    x_SetPos(ELEM(iPos).iElemParent, iPos, 0);
    return true;
}

// With no main position the first element at this level becomes the main
// position first, and stays so even when no child matches: the response
// frame reads "ResultCode" from that element.
bool CMarkup::FindChildElem(MCD_CSTR szName)
{
    if (m_nDocFlags & (MDF_READFILE | MDF_WRITEFILE))
        return false;
    if (m_iPos == 0)
        FindElem();
    const int iPosChild = x_FindElem(m_iPos, m_iPosChild, PathPos(szName, false));
    if (iPosChild == 0)
        return false;
    const int iPos = ELEM(iPosChild).iElemParent;
    x_SetPos(ELEM(iPos).iElemParent, iPos, iPosChild);
    return true;
}

bool CMarkup::IntoElem()
{
    if (m_iPos == 0 || m_nNodeType != MNT_ELEMENT)
        return false;
    x_SetPos(m_iPos, m_iPosChild, 0);
    return true;
}

bool CMarkup::OutOfElem()
{
    if (m_iPosParent == 0)
        return false;
    x_SetPos(ELEM(m_iPosParent).iElemParent, m_iPosParent, m_iPos);
    return true;
}

std::string CMarkup::GetTagName() const
{
    if (m_iPos == 0)
        return std::string();
    const char* pName = m_strDoc.c_str() + ELEM(m_iPos).nStart + 1;
    while (CharIs(*pName, kCharSpace))
        ++pName;
    return std::string(pName, static_cast<size_t>(TagNameLength(pName)));
}

// Text content of a leaf element. Without node-level walking no other node
// than an element can be current, so only element positions are read here.
std::string CMarkup::x_GetData(int iPos) const
{
    if (iPos == 0)
        return std::string();
    const ElemPos& elem = ELEM(iPos);
    if (static_cast<int>(elem.nStartTagLen) == elem.nLength || elem.iElemChild != 0)
        return std::string();
    const char* pDoc = m_strDoc.c_str();
    const int nContent = elem.nStart + static_cast<int>(elem.nStartTagLen);
    const int nEnd = elem.nStart + elem.nLength - static_cast<int>(elem.nEndTagLen);
    if (!std::memchr(pDoc + nContent, '<', static_cast<size_t>(nEnd - nContent)))
        return UnescapedCopy(pDoc + nContent, static_cast<size_t>(nEnd - nContent));
    std::string strData;
    // Mixed markup: text pieces unescaped, CDATA as it stands, the rest dropped.
    TokenPos token(pDoc, m_nDocFlags);
    token.m_nNext = nContent;
    NodePos node;
    while (token.m_nNext < nEnd && token.ParseNode(node)) {
        const int nNodeEnd = std::min(node.nStart + node.nLength, nEnd);
        if (node.nNodeType == MNT_TEXT || node.nNodeType == MNT_WHITESPACE) {
            AppendUnescaped(strData, pDoc + node.nStart,
                            static_cast<size_t>(nNodeEnd - node.nStart));
        } else if (node.nNodeType == MNT_CDATA_SECTION) {
            // The "]]>" search starts after "<![", so the inner start is clamped.
            const int nInnerEnd = nNodeEnd - 3;
            const int nInner = std::min(node.nStart + 9, nInnerEnd);
            strData.append(pDoc + nInner, static_cast<size_t>(nInnerEnd - nInner));
        }
    }
    return strData;
}

// Indexes the start tag's attributes (up to kAttribSpans) in one pass. The
// common shape, name = "value" (or 'value'), is read here directly; anything
// else goes through TokenPos::NextAttrib, which reads it the same way.
void CMarkup::x_IndexAttribs(int iPos) const
{
    const char* pDoc = m_strDoc.c_str();
    const char* const pDocEnd = pDoc + m_strDoc.size();
    m_iAttribElem = iPos;
    m_nAttribCount = 0;
    m_nAttribGuess = 0;
    m_bAttribDistinct = true;
    TokenPos token(pDoc, m_nDocFlags);
    token.m_nNext = ELEM(iPos).nStart + 1;
    if (!token.FindToken()) {  // the tag name
        m_nAttribNext = -1;
        return;
    }
    int n = token.m_nNext;
    uint64_t nSeen = 0;
    while (m_nAttribCount < kAttribSpans) {
        AttribSpan span;
        const char* p = pDoc + n;
        while (CharIs(*p, kCharSpace))
            ++p;
        const char* pValueEnd = nullptr;
        if (!CharIs(*p, kCharTokenEnd) && *p != '"' && *p != '\'') {
            const char* pName = p;
            while (!CharIs(*p, kCharTokenEnd))
                ++p;
            span.nName = static_cast<int>(pName - pDoc);
            span.nNameLen = static_cast<int>(p - pName);
            while (CharIs(*p, kCharSpace))
                ++p;
            if (*p == '=') {
                ++p;
                while (CharIs(*p, kCharSpace))
                    ++p;
                if (*p == '"' || *p == '\'')
                    pValueEnd = static_cast<const char*>(
                        std::memchr(p + 1, *p, static_cast<size_t>(pDocEnd - p - 1)));
            }
        }
        if (pValueEnd) {
            span.nValue = static_cast<int>(p + 1 - pDoc);
            span.nValueLen = static_cast<int>(pValueEnd - p - 1);
            n = static_cast<int>(pValueEnd + 1 - pDoc);
        } else {
            token.m_nNext = n;
            if (!token.NextAttrib(span.nName, span.nNameLen)) {
                m_nAttribNext = -1;
                return;
            }
            span.nValue = token.m_nL;
            span.nValueLen = token.m_nR - token.m_nL + 1;
            n = token.m_nNext;
        }
        // Names are told apart by a 64-bit sketch of length, first and last byte;
        // only names that share a bit are compared.
        const char* pName = pDoc + span.nName;
        const uint64_t nBit = uint64_t{1}
                              << ((static_cast<unsigned>(span.nNameLen) * 7 +
                                   static_cast<unsigned char>(pName[0]) * 3 +
                                   static_cast<unsigned char>(pName[span.nNameLen - 1])) &
                                  63);
        if ((nSeen & nBit) && m_bAttribDistinct)
            for (int i = 0; i < m_nAttribCount; ++i) {
                const AttribSpan& other = m_aAttribSpans[i];
                if (other.nNameLen == span.nNameLen &&
                    std::memcmp(pDoc + other.nName, pName, static_cast<size_t>(span.nNameLen)) ==
                        0)
                    m_bAttribDistinct = false;
            }
        nSeen |= nBit;
        m_aAttribSpans[m_nAttribCount++] = span;
    }
    m_nAttribNext = n;
}

// Index of the first indexed span whose name matches, or -1.
int CMarkup::x_FindAttribSpan(const char* szAttrib, size_t nAttribLen, bool bPlainName) const
{
    const char* pDoc = m_strDoc.c_str();
    const bool bIgnoreCase = (m_nDocFlags & MDF_IGNORECASE) != 0;
    if (bPlainName && m_bAttribDistinct && !bIgnoreCase) {
        const auto equal = [&](const AttribSpan& span) {
            return static_cast<size_t>(span.nNameLen) == nAttribLen &&
                   std::memcmp(pDoc + span.nName, szAttrib, nAttribLen) == 0;
        };
        for (int i = 0; i < m_nAttribCount; ++i)
            if (equal(m_aAttribSpans[i])) {
                m_nAttribGuess = i + 1;
                return i;
            }
        return -1;
    }
    for (int i = 0; i < m_nAttribCount; ++i) {
        const AttribSpan& span = m_aAttribSpans[i];
        if (MatchName(pDoc + span.nName, span.nNameLen, szAttrib, nAttribLen, bIgnoreCase))
            return i;
    }
    return -1;
}

// The first attribute of the start tag whose name matches, unescaped; empty
// when there is none. Attributes beyond the indexed ones are scanned from
// where the index stops.
std::string CMarkup::x_GetAttrib(int iPos, const char* szAttrib) const
{
    if (iPos == 0 || m_nNodeType != MNT_ELEMENT || !szAttrib)
        return std::string();
    if (m_iAttribElem != iPos)
        x_IndexAttribs(iPos);
    const char* pDoc = m_strDoc.c_str();
    // Parsers read attributes in document order: the span after the last hit
    // is compared first, and the name is checked for being plain on the way.
    // The flags may change between reads, so case is looked at here.
    if (m_bAttribDistinct && m_nAttribGuess < m_nAttribCount && !(m_nDocFlags & MDF_IGNORECASE)) {
        const AttribSpan& span = m_aAttribSpans[m_nAttribGuess];
        const char* pName = pDoc + span.nName;
        unsigned char nClasses = 0;
        int i = 0;
        while (i < span.nNameLen && szAttrib[i] == pName[i])
            nClasses |= kCharClass[static_cast<unsigned char>(szAttrib[i++])];
        if (i == span.nNameLen && szAttrib[i] == '\0' && !(nClasses & kCharNameStep)) {
            ++m_nAttribGuess;
            return UnescapedCopy(pDoc + span.nValue, static_cast<size_t>(span.nValueLen));
        }
    }
    // A plain name holds none of " =/[]", so only an equal name matches it.
    size_t nAttribLen = 0;
    unsigned char nClasses = 0;
    for (char c; (c = szAttrib[nAttribLen]) != '\0'; ++nAttribLen)
        nClasses |= kCharClass[static_cast<unsigned char>(c)];
    const bool bPlainName = !(nClasses & kCharNameStep);
    const int iSpan = x_FindAttribSpan(szAttrib, nAttribLen, bPlainName);
    if (iSpan >= 0) {
        const AttribSpan& span = m_aAttribSpans[iSpan];
        return UnescapedCopy(pDoc + span.nValue, static_cast<size_t>(span.nValueLen));
    }
    if (m_nAttribNext < 0)
        return std::string();
    const bool bIgnoreCase = (m_nDocFlags & MDF_IGNORECASE) != 0;
    TokenPos token(pDoc, m_nDocFlags);
    token.m_nNext = m_nAttribNext;
    int nNameL = 0;
    int nNameLen = 0;
    while (token.NextAttrib(nNameL, nNameLen))
        if (MatchName(pDoc + nNameL, nNameLen, szAttrib, nAttribLen, bIgnoreCase))
            return UnescapedCopy(pDoc + token.m_nL,
                                 static_cast<size_t>(token.m_nR - token.m_nL + 1));
    return std::string();
}

// Findings are small empty elements; recording stops once the text has
// reached 1000 characters so a hostile document cannot grow it without bound.
void CMarkup::x_AddResult(const char* szName, std::string_view strTagName, int nOffset,
                          int nLength)
{
    if (m_strResult.size() >= 1000)
        return;
    m_strResult += '<';
    m_strResult += szName;
    if (strTagName.data()) {
        m_strResult += " tagname=\"";
        for (char c : strTagName) {
            switch (c) {
            case '&':
                m_strResult += "&amp;";
                break;
            case '<':
                m_strResult += "&lt;";
                break;
            case '>':
                m_strResult += "&gt;";
                break;
            case '"':
                m_strResult += "&quot;";
                break;
            default:
                m_strResult += c;
                break;
            }
        }
        m_strResult += '"';
    }
    if (nOffset >= 0)
        m_strResult += " offset=\"" + std::to_string(nOffset) + '"';
    if (nLength >= 0)
        m_strResult += " length=\"" + std::to_string(nLength) + '"';
    m_strResult += "/>";
}
