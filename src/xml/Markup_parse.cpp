/*
 * Markup_parse.cpp - the navigator's parser: builds the element index from
 * the document text (ElemPosTree segments, CMarkup::x_ParseDoc/x_ParseElem)
 * with the unended and lone end tag rules; end tags are matched by the
 * end-tag stack. Called by CMarkup::SetDoc.
 */
#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "xml/Markup_internal.h"

static size_t SegBytes(int nRecords) { return static_cast<size_t>(nRecords) * sizeof(ElemPos); }

// A full segment is 2 MiB: past the first, a huge page where the kernel offers them.
void ElemPosTree::GrowElemPosTree(int nNewSize)
{
    while (m_nSize < nNewSize) {
        const int iSeg = m_nSize >> kSegBits;
        const int nUsedInSeg = m_nSize & (kSegSize - 1);
        const int nSegSize = std::min(kSegSize, nNewSize - (iSeg << kSegBits));
        if (iSeg >= m_nSegs) {
            ElemPos** pSegs = new ElemPos*[static_cast<size_t>(iSeg) + 1];
            if (m_nSegs)
                std::memcpy(pSegs, m_pSegs, static_cast<size_t>(m_nSegs) * sizeof(ElemPos*));
            delete[] m_pSegs;
            m_pSegs = pSegs;
            m_pSegs[iSeg] = nullptr;
            m_nSegs = iSeg + 1;
        }
        auto* pSeg = static_cast<ElemPos*>(AllocIndexBlock(SegBytes(nSegSize), iSeg == 0));
        if (nUsedInSeg) {
            std::memcpy(pSeg, m_pSegs[iSeg], SegBytes(nUsedInSeg));
            FreeIndexBlock(m_pSegs[iSeg], SegBytes(nUsedInSeg), iSeg == 0);
        }
        m_pSegs[iSeg] = pSeg;
        m_nSize = (iSeg << kSegBits) + nSegSize;
    }
}

void ElemPosTree::ReleaseElemPosTree()
{
    for (int i = 0; i < m_nSegs; ++i)
        FreeIndexBlock(m_pSegs[i], SegBytes(std::min(kSegSize, m_nSize - (i << kSegBits))),
                       i == 0);
    delete[] m_pSegs;
    m_pSegs = nullptr;
    m_nSize = 0;
    m_nSegs = 0;
}

void CMarkup::x_AllocElemPos(int nNewSize)
{
    // Past the first segment the index grows a whole segment at a time, so
    // records are never copied and untouched space costs no memory.
    if (nNewSize == 0) {
        const int nSize = m_pElemPosTree->m_nSize;
        const int64_t nGrown = nSize < ElemPosTree::kSegSize
                                   ? ElemPosTree::kSegSize
                                   : int64_t{nSize} + ElemPosTree::kSegSize;
        nNewSize = static_cast<int>(std::min<int64_t>(nGrown, INT_MAX));
    }
    if (m_pElemPosTree->m_nSize < nNewSize)
        m_pElemPosTree->GrowElemPosTree(nNewSize);
}

int CMarkup::x_GetFreePos()
{
    if (m_iPosFree >= m_pElemPosTree->m_nSize)
        x_AllocElemPos(0);
    return m_iPosFree++;
}

// Links iPos as the last child of iPosParent and clears its other fields.
void CMarkup::x_LinkElem(int iPosParent, int iPos)
{
    ElemPos& elem = ELEM(iPos);
    ElemPos& parent = ELEM(iPosParent);
    elem.iElemParent = iPosParent;
    elem.iElemChild = 0;
    elem.iElemNext = 0;
    if (parent.iElemChild == 0) {
        parent.iElemChild = iPos;
        elem.iElemPrev = iPos;
        elem.nFlags = MNF_FIRST;
    } else {
        ElemPos& first = ELEM(parent.iElemChild);
        ELEM(first.iElemPrev).iElemNext = iPos;
        elem.iElemPrev = first.iElemPrev;
        first.iElemPrev = iPos;
        elem.nFlags = 0;
    }
}

// An open element whose end tag never came: it keeps its start tag alone and
// its children move out to follow it under its own parent. It is always the
// last child there, since everything after its start tag went inside it.
// Returns whether children moved (levels then need recomputing).
bool CMarkup::x_MarkUnended(int iPos, std::string_view strTagName)
{
    ElemPos& elem = ELEM(iPos);
    elem.nFlags |= MNF_NONENDED;
    elem.nLength = static_cast<int>(elem.nStartTagLen);
    elem.nEndTagLen = 0;
    ELEM(0).nFlags |= MNF_ILLFORMED;
    x_AddResult("unended_start_tag", strTagName, elem.nStart);
    const int iChild = elem.iElemChild;
    if (iChild == 0)
        return false;
    const int iParent = elem.iElemParent;
    const int iLast = ELEM(iChild).iElemPrev;
    for (int i = iChild; i != 0; i = ELEM(i).iElemNext)
        ELEM(i).iElemParent = iParent;
    ELEM(iChild).nFlags &= ~MNF_FIRST;
    ELEM(iChild).iElemPrev = iPos;
    elem.iElemNext = iChild;
    elem.iElemChild = 0;
    ELEM(ELEM(iParent).iElemChild).iElemPrev = iLast;
    return true;
}

// Parents always precede their children in the index, so one forward pass
// sets every level after elements have moved.
void CMarkup::x_RecomputeLevels()
{
    for (int i = 1; i < m_iPosFree; ++i) {
        ElemPos& elem = ELEM(i);
        int nLevel = 0;
        if (elem.iElemParent)
            nLevel = std::min((ELEM(elem.iElemParent).nFlags & MNF_LEVELMASK) + 1,
                              static_cast<int>(MNF_LEVELMASK));
        elem.nFlags = (elem.nFlags & ~MNF_LEVELMASK) | nLevel;
    }
}

bool CMarkup::x_ParseDoc()
{
    x_SetPos(0, 0, 0);
    m_iAttribElem = 0;
    const int nDocLength = static_cast<int>(m_strDoc.size());
    m_iPosFree = 1;
    // An element takes three bytes at least: the first segment is sized to
    // hold them all, so it is never copied while it fills.
    x_AllocElemPos(std::min(nDocLength / 3 + 8, ElemPosTree::kSegSize));
    m_iPosDeleted = 0;
    ELEM(0) = ElemPos{};
    if (nDocLength) {
        TokenPos token(m_strDoc.c_str(), m_nDocFlags);
        x_ParseElem(token);
    }
    ELEM(0).nLength = nDocLength;
    const int iRoot = ELEM(0).iElemChild;
    if (iRoot == 0) {
        x_AddResult("no_root_element");
    } else if (ELEM(iRoot).iElemNext) {
        const ElemPos& sibling = ELEM(ELEM(iRoot).iElemNext);
        const char* pName = m_strDoc.c_str() + sibling.nStart + 1;
        x_AddResult("root_has_sibling",
                    std::string_view(pName, static_cast<size_t>(TagNameLength(pName))),
                    sibling.nStart);
    }
    x_SetPos(0, 0, 0);
    return IsWellFormed();
}

// Parses the whole text as the content of the document record. Never stops
// early: every finding is recorded and the scan goes on.
void CMarkup::x_ParseElem(TokenPos& token)
{
    const bool bIgnoreCase = (m_nDocFlags & MDF_IGNORECASE) != 0;
    ElemStack stack(token.m_pDocText);
    NodePos node;
    bool bMoved = false;
    int nType;
    while ((nType = token.ParseNode(node)) != 0) {
        if (node.strMeta) {
            x_AddResult(node.strMeta, {}, node.nStart);
            ELEM(stack.iPar).nFlags |= MNF_ILLDATA;
            ELEM(0).nFlags |= MNF_ILLFORMED;
        } else if (nType == MNT_ELEMENT) {
            if (node.nLength > kMaxStartTagLen) {
                // Longer than the record's 22-bit field: left out of the index.
                x_AddResult("tag_too_long", token.Token(), node.nStart, node.nLength);
                ELEM(0).nFlags |= MNF_ILLFORMED;
                continue;
            }
            const int iPos = x_GetFreePos();
            x_LinkElem(stack.iPar, iPos);
            ElemPos& elem = ELEM(iPos);
            elem.nStart = node.nStart;
            elem.nLength = node.nLength;
            elem.nStartTagLen = static_cast<unsigned int>(node.nLength);
            elem.nEndTagLen = 0;
            elem.nFlags |= std::min(stack.iTop + 1, static_cast<int>(MNF_LEVELMASK));
            if (!(node.nNodeFlags & MNF_EMPTYTAG))
                stack.Push(token.Token(), iPos, bIgnoreCase);
        } else if (nType == MNT_LONE_END_TAG) {
            const std::string_view strName = token.Token();
            if (node.nLength > kMaxEndTagLen) {
                // Longer than the record's 10-bit field: closes nothing.
                x_AddResult("tag_too_long", strName, node.nStart, node.nLength);
                ELEM(0).nFlags |= MNF_ILLFORMED;
                continue;
            }
            const int iEntry = stack.Find(strName, bIgnoreCase);
            if (iEntry < 0) {
                x_AddResult("lone_end_tag", strName, node.nStart);
                ELEM(0).nFlags |= MNF_ILLFORMED;
                continue;
            }
            // Outermost first, so each moved child is moved only once.
            for (int i = iEntry + 1; i <= stack.iTop; ++i)
                bMoved |= x_MarkUnended(stack.Parent(i), stack.Name(i));
            ElemPos& elem = ELEM(stack.Parent(iEntry));
            elem.nLength = node.nStart + node.nLength - elem.nStart;
            elem.nEndTagLen = static_cast<unsigned int>(node.nLength);
            stack.PopTo(iEntry);
        }
    }
    for (int i = 0; i <= stack.iTop; ++i)
        bMoved |= x_MarkUnended(stack.Parent(i), stack.Name(i));
    if (bMoved)
        x_RecomputeLevels();
    m_nMatchSteps = stack.nSteps;
}
