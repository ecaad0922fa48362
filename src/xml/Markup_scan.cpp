/*
 * Markup_scan.cpp - the navigator's scanners: TokenPos::ParseNode classifies
 * the node at the scan position and finds its end, FindToken/NextAttrib read
 * a start tag's attributes, PathPos checks a name argument. Called by the
 * navigator's parser and getters.
 */
#include <cstring>

#include "xml/Markup_internal.h"

namespace {

// Position of the first c at or after p, or of the terminating zero.
const char* FindByteOrEnd(const char* p, char c)
{
    const char* q = std::strchr(p, c);
    return q ? q : p + std::strlen(p);
}

int Offset(const char* pDoc, const char* p) { return static_cast<int>(p - pDoc); }

}  // namespace

// Skips whitespace, then reads one token of a tag: quoted text (without the
// quotes), a run up to "=", whitespace, ">", "/" or "?", or one of those four
// alone. A quote inside an unquoted run is part of it.
bool TokenPos::FindToken()
{
    const char* d = m_pDocText;
    int n = m_nNext;
    m_nPreSpaceStart = n;
    while (CharIs(d[n], kCharSpace))
        ++n;
    m_nPreSpaceLength = n - m_nPreSpaceStart;
    m_nTokenFlags &= ~kTokenQuoted;
    const char c = d[n];
    if (c == '\0') {
        m_nNext = n;
        return false;
    }
    if (c == '"' || c == '\'') {
        const char* pEnd = FindByteOrEnd(d + n + 1, c);
        m_nL = n + 1;
        m_nR = Offset(d, pEnd) - 1;
        m_nNext = *pEnd ? Offset(d, pEnd) + 1 : Offset(d, pEnd);
        m_nTokenFlags |= kTokenQuoted;
    } else if (CharIs(c, kCharTokenEnd)) {
        m_nL = m_nR = n;
        m_nNext = n + 1;
    } else {
        m_nL = n;
        while (!CharIs(d[n], kCharTokenEnd))
            ++n;
        m_nR = n - 1;
        m_nNext = n;
    }
    return true;
}

// Reads the next attribute of a start tag whose name token has been read: a
// token followed by "=" names an attribute whose value is the next token;
// ">", "/" or "?" end the tag (false). On success the name is at
// nNameL/nNameLen and the value at m_nL..m_nR.
bool TokenPos::NextAttrib(int& nNameL, int& nNameLen)
{
    const char* d = m_pDocText;
    for (;;) {
        if (!FindToken())
            return false;
        const bool bQuoted = (m_nTokenFlags & kTokenQuoted) != 0;
        if (!bQuoted && m_nL == m_nR && CharIs(d[m_nL], kCharTokenEnd)) {
            if (d[m_nL] == '=')
                continue;  // "=" with no name before it
            return false;
        }
        nNameL = m_nL;
        nNameLen = m_nR - m_nL + 1;
        int nAfter = m_nNext;
        while (CharIs(d[nAfter], kCharSpace))
            ++nAfter;
        if (d[nAfter] != '=')
            continue;  // a name without a value
        m_nNext = nAfter + 1;
        if (!FindToken()) {
            m_nL = m_nNext;
            m_nR = m_nL - 1;
        } else if (!(m_nTokenFlags & kTokenQuoted) && m_nL == m_nR &&
                   CharIs(d[m_nL], kCharTokenEnd)) {
            // "a=>" or "a=/": the value is empty and the delimiter is read next.
            m_nNext = m_nL;
            m_nR = m_nL - 1;
        }
        return true;
    }
}

// Classifies the node at m_nNext, finds its end and moves m_nNext past it.
// Tags leave their name in m_nL..m_nR. Malformed markup comes back with the
// finding's name in strMeta; it never stops the scan.
int TokenPos::ParseNode(NodePos& node)
{
    const char* d = m_pDocText;
    const int n = m_nNext;
    const char* p = d + n;
    node.nStart = n;
    node.nNodeFlags = 0;
    node.strMeta = nullptr;
    node.nNodeType = 0;
    const char* pEnd = nullptr;  // one past the node's last byte

    if (*p == '\0')
        return 0;
    if (*p != '<') {
        const char* q = p;
        while (CharIs(*q, kCharSpace))
            ++q;
        node.nNodeType = CMarkup::MNT_WHITESPACE;
        if (*q != '\0' && *q != '<') {
            node.nNodeType = CMarkup::MNT_TEXT;
            q = FindByteOrEnd(q, '<');
        }
        pEnd = q;
    } else if (CharIs(p[1], kCharNameStart)) {
        const char* q = p + 1;
        m_nL = n + 1;
        q += TagNameLength(q);
        m_nR = Offset(d, q) - 1;
        // A quote opens a quoted value only where a token starts, as FindToken
        // reads it (after whitespace, "=", "/", "?" or a closing quote), so ">"
        // inside a value does not end the tag.
        const char* pQuotedEnd = nullptr;  // just after the last quoted value
        for (;;) {
            while (!CharIs(*q, kCharTagStop))
                ++q;
            const char c = *q;
            if (c == '>' || c == '\0')
                break;
            if (q == pQuotedEnd ||
                (CharIs(q[-1], kCharTagScan) && q[-1] != '"' && q[-1] != '\'')) {
                q = std::strchr(q + 1, c);
                if (!q)
                    break;
                pQuotedEnd = q + 1;
            }
            ++q;
        }
        if (q && *q == '>') {
            node.nNodeType = CMarkup::MNT_ELEMENT;
            if (q[-1] == '/')
                node.nNodeFlags = MNF_EMPTYTAG;
            pEnd = q + 1;
        }
    } else if (p[1] == '/') {
        const char* q = p + 2;
        while (CharIs(*q, kCharSpace))
            ++q;
        m_nL = Offset(d, q);
        q += TagNameLength(q);
        m_nR = Offset(d, q) - 1;
        q = std::strchr(q, '>');
        if (q) {
            node.nNodeType = CMarkup::MNT_LONE_END_TAG;
            pEnd = q + 1;
        }
    } else if (p[1] == '?') {
        const char* q = std::strstr(p + 2, "?>");
        if (q) {
            node.nNodeType = CMarkup::MNT_PROCESSING_INSTRUCTION;
            pEnd = q + 2;
        }
    } else if (p[1] == '!') {
        const char c2 = p[2];
        const char c3 = c2 ? p[3] : '\0';
        if (c2 == '-' && c3 == '-') {
            const char* q = std::strstr(p + 4, "-->");
            if (q) {
                node.nNodeType = CMarkup::MNT_COMMENT;
                pEnd = q + 3;
            }
        } else if (c2 == '[' && c3 == 'C') {
            // Only the "C" of "CDATA[" is looked at.
            const char* q = std::strstr(p + 3, "]]>");
            if (q) {
                node.nNodeType = CMarkup::MNT_CDATA_SECTION;
                pEnd = q + 3;
            }
        } else if (c2 == 'D') {
            node.nNodeType = CMarkup::MNT_DOCUMENT_TYPE;
            const char* q = p + 3;
            // Up to ">", stepping over quoted text and an internal subset.
            while (*q != '\0' && *q != '>') {
                if (*q == '"' || *q == '\'') {
                    q = FindByteOrEnd(q + 1, *q);
                    if (*q)
                        ++q;
                } else if (*q == '[') {
                    ++q;
                    while (*q != '\0' && *q != ']') {
                        if (*q == '"' || *q == '\'') {
                            q = FindByteOrEnd(q + 1, *q);
                            if (*q == '\0')
                                break;
                        }
                        ++q;
                    }
                    if (*q == ']')
                        ++q;
                    while (CharIs(*q, kCharSpace))
                        ++q;
                    if (*q != '\0' && *q != '>') {
                        node.strMeta = "doctype_tag_syntax";
                        q = FindByteOrEnd(q, '>');
                    }
                } else {
                    ++q;
                }
            }
            if (*q == '>')
                pEnd = q + 1;
        } else if (c2 != '\0' && (c2 != '-' || c3 != '\0') && (c2 != '[' || c3 != '\0')) {
            node.strMeta = c2 == '-'   ? "comment_tag_syntax"
                           : c2 == '[' ? "cdata_section_syntax"
                                       : "exclamation_tag_syntax";
        }
    } else if (p[1] != '\0') {
        // "<" that opens nothing: it and the text after it up to the next "<" are text.
        node.nNodeType = CMarkup::MNT_TEXT;
        node.strMeta = "first_tag_syntax";
        pEnd = FindByteOrEnd(p + 1, '<');
    }

    if (node.strMeta && node.nNodeType != CMarkup::MNT_TEXT) {
        node.nNodeType = CMarkup::MNT_NODE_ERROR;
        if (!pEnd) {
            const char* q = FindByteOrEnd(p + 1, '>');
            pEnd = *q ? q + 1 : q;
        }
    } else if (!pEnd) {
        node.nNodeType = CMarkup::MNT_NODE_ERROR;
        node.strMeta = "unterminated_tag_syntax";
        pEnd = p + std::strlen(p);
    }
    node.nLength = Offset(p, pEnd);
    m_nNext = Offset(d, pEnd);
    return node.nNodeType;
}

PathPos::PathPos(const char* szPath, bool bIsReader)
    : nPathType(kAny), bReader(bIsReader), p(szPath), i(0), iPathAttribName(0), iSave(0), nLen(0)
{
    if (!p || !*p)
        return;
    if (p[0] == '/') {
        nPathType = p[1] == '/' ? kAnywhere : kAbsolute;
        return;
    }
    nPathType = kName;
    while (p[i]) {
        if (p[i] == '[') {
            if (!x_ParsePredicate()) {
                nPathType = kInvalid;
                return;
            }
        } else if (p[i] == ']') {
            nPathType = kInvalid;
            return;
        } else {
            ++i;
        }
    }
    nLen = i;
}

// "[" digits "]", "[@name]" or "[@name='value']" (either quote); the finders
// accept these but do not evaluate them.
bool PathPos::x_ParsePredicate()
{
    iSave = i++;
    if (p[i] >= '0' && p[i] <= '9') {
        while (p[i] >= '0' && p[i] <= '9')
            ++i;
    } else if (p[i] == '@') {
        iPathAttribName = ++i;
        while (p[i] && !std::strchr("[]=/'\" ", p[i]))
            ++i;
        if (i == iPathAttribName)
            return false;
        if (p[i] == '=') {
            const char cQuote = p[++i];
            if (cQuote != '\'' && cQuote != '"')
                return false;
            const char* pClose = std::strchr(p + i + 1, cQuote);
            if (!pClose)
                return false;
            i = static_cast<int>(pClose - p) + 1;
        }
    } else {
        return false;
    }
    if (p[i] != ']')
        return false;
    ++i;
    return true;
}
