/*
 * Markup_stack.cpp - the navigator's end-tag stack: the stack of open start
 * tags and, per name hash slot, a crit-bit tree of names, so an end tag finds
 * its nearest open namesake (or learns there is none) in steps bounded by its
 * own length and the tags it closes. Used by the parser's CMarkup::x_ParseElem.
 */
#include <algorithm>

#include "xml/Markup_internal.h"

NameKey NameKey::Of(std::string_view strName, bool bIgnoreCase)
{
    NameKey key{strName.data(), static_cast<int>(strName.size()), 0};
    if (!bIgnoreCase)
        return key;
    key.nFold = key.n;
    for (int i = 0; i < key.n; ++i)
        if (static_cast<unsigned char>(key.p[i]) > 127) {
            key.nFold = i + 1;
            break;
        }
    return key;
}

ElemStack::ElemStack(const char* pDoc)
    : iTop(-1), iPar(0), nSteps(0), iIndexed(0), pDocText(pDoc), nLeaves(0), nNodes(0)
{
    std::fill(anTable, anTable + kSlots, kNoRef);
}

// Sum of the name's bytes as signed characters (ASCII letters folded when
// names ignore case), taken modulo 23 into 0..22 even when the sum is negative.
int ElemStack::Slot(std::string_view strName, bool bIgnoreCase)
{
    int nSum = 0;
    for (char c : strName)
        nSum += static_cast<signed char>(bIgnoreCase ? AsciiLower(c) : c);
    return ((nSum % kSlots) + kSlots) % kSlots;
}

int ElemStack::x_NewLeaf(const NameKey& key)
{
    aLeaves.Reserve(nLeaves + 1);
    aLeaves[nLeaves] = NameLeaf{key, -1};
    return nLeaves++;
}

// The leaf of the name, added if the name is new.
int ElemStack::x_Leaf(const NameKey& key, int nSlot)
{
    int ref = anTable[nSlot];
    if (ref == kNoRef) {
        const int iLeaf = x_NewLeaf(key);
        anTable[nSlot] = ~iLeaf;
        return iLeaf;
    }
    // Any leaf that agrees with the name wherever the tree branches shows
    // where the name differs from all of them. Below a branch past the name's
    // end every leaf does, so the descent stops there.
    while (ref >= 0) {
        ++nSteps;
        const CritNode& node = aNodes[ref];
        ref = node.nByte > key.n ? node.iRep : node.aChild[node.Dir(key.Byte(node.nByte))];
    }
    const NameKey other = aLeaves[~ref].key;
    int nByte = 0;
    unsigned nDiff = 0;
    for (;; ++nByte) {
        ++nSteps;
        nDiff = other.Byte(nByte) ^ key.Byte(nByte);
        if (nDiff || key.Byte(nByte) == 0)
            break;
    }
    if (nDiff == 0)
        return ~ref;
    const int iLeaf = x_NewLeaf(key);
    while (nDiff & (nDiff - 1))
        nDiff &= nDiff - 1;
    const unsigned nOtherBits = nDiff ^ 0xFF;
    const int iNode = nNodes++;
    aNodes.Reserve(nNodes);
    CritNode& added = aNodes[iNode];
    added = CritNode{{~iLeaf, ~iLeaf}, nByte, nOtherBits, ~iLeaf};
    const int nOtherDir = added.Dir(other.Byte(nByte));
    // Branches stay ordered by the bit they test from the root down.
    int* where = &anTable[nSlot];
    while (*where >= 0) {
        ++nSteps;
        CritNode& node = aNodes[*where];
        if (node.nByte > nByte || (node.nByte == nByte && node.nOtherBits > nOtherBits))
            break;
        where = &node.aChild[node.Dir(key.Byte(node.nByte))];
    }
    added.aChild[nOtherDir] = *where;
    *where = iNode;
    return iLeaf;
}

void ElemStack::Push(std::string_view strName, int iElem, bool /*bIgnoreCase*/)
{
    ++iTop;
    aTags.Reserve(iTop + 1);
    aTags[iTop] = TagPos{static_cast<int>(strName.data() - pDocText),
                         static_cast<int>(strName.size()), iElem};
    iPar = iElem;
}

// Puts an open tag into its slot's tree; tags go in oldest first.
void ElemStack::x_Index(int iTag, bool bIgnoreCase)
{
    const std::string_view strName = Name(iTag);
    aLinks.Reserve(iTag + 1);
    TagLink& link = aLinks[iTag];
    link.iLeaf = x_Leaf(NameKey::Of(strName, bIgnoreCase), Slot(strName, bIgnoreCase));
    link.iSameNext = aLeaves[link.iLeaf].iNewest;
    aLeaves[link.iLeaf].iNewest = iTag;
}

// Nearest open tag of this name, or -1. Tags above iIndexed are compared one
// by one, innermost first (a well-formed document never needs more); each is
// compared once, since it is then either closed or put into the tree.
int ElemStack::Find(std::string_view strName, bool bIgnoreCase)
{
    const NameKey key = NameKey::Of(strName, bIgnoreCase);
    for (int i = iTop; i >= iIndexed; --i) {
        ++nSteps;
        const TagPos& tag = aTags[i];
        if (tag.nNameLen == key.n) {
            nSteps += key.n;
            if (NameBytesEqual(pDocText + tag.nName, key.p, key.n, bIgnoreCase))
                return i;
        }
    }
    for (; iIndexed <= iTop; ++iIndexed)
        x_Index(iIndexed, bIgnoreCase);
    int ref = anTable[Slot(strName, bIgnoreCase)];
    if (ref == kNoRef)
        return -1;
    while (ref >= 0) {
        ++nSteps;
        const CritNode& node = aNodes[ref];
        // Every name below shares the bytes before nByte, so none ends where this one does.
        if (node.nByte > key.n)
            return -1;
        ref = node.aChild[node.Dir(key.Byte(node.nByte))];
    }
    const NameLeaf& leaf = aLeaves[~ref];
    nSteps += key.n;
    if (leaf.key.n != key.n || !NameBytesEqual(leaf.key.p, key.p, key.n, bIgnoreCase))
        return -1;
    return leaf.iNewest;
}

// Pops iEntry and everything above it; each popped tag is the newest of its name.
void ElemStack::PopTo(int iEntry)
{
    for (; iTop >= iEntry; --iTop) {
        ++nSteps;
        if (iTop < iIndexed)
            aLeaves[aLinks[iTop].iLeaf].iNewest = aLinks[iTop].iSameNext;
    }
    iIndexed = std::min(iIndexed, iTop + 1);
    iPar = iTop >= 0 ? aTags[iTop].iParent : 0;
}
