/*
 * Markup_stack.cpp - the end-tag matcher of the parse: the stack of open start
 * tags and, per name hash slot, a crit-bit tree of the names open in it, so an
 * end tag finds its nearest open namesake (or learns there is none) in steps
 * bounded by its own length. Used by CMarkup::x_ParseElem (Markup_parse.cpp).
 */
#include <algorithm>

#include "xml/Markup_internal.h"

NameKey::NameKey(std::string_view strName, bool bIgnoreCase) : str(strName), nFold(0)
{
    if (!bIgnoreCase)
        return;
    nFold = Size();
    for (int i = 0; i < Size(); ++i)
        if (static_cast<unsigned char>(str[static_cast<size_t>(i)]) > 127) {
            nFold = i + 1;
            break;
        }
}

ElemStack::ElemStack() : iTop(-1), iPar(0), nSteps(0), iFreeNode(-1)
{
    std::fill(anTable, anTable + kSlots, kNoRef);
    aTags.reserve(32);
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

int ElemStack::x_NewNode()
{
    if (iFreeNode < 0) {
        aNodes.push_back(CritNode{});
        return static_cast<int>(aNodes.size()) - 1;
    }
    const int iNode = iFreeNode;
    iFreeNode = aNodes[static_cast<size_t>(iNode)].aChild[0];
    return iNode;
}

void ElemStack::Push(std::string_view strName, int iElem, bool bIgnoreCase)
{
    const int iTag = ++iTop;
    aTags.push_back(TagPos{NameKey(strName, bIgnoreCase), iElem, Slot(strName, bIgnoreCase),
                           iTag, -1, iTag});
    iPar = iElem;
    const NameKey key = aTags.back().key;
    int& root = anTable[aTags.back().nSlot];
    if (root == kNoRef) {
        root = ~iTag;
        return;
    }
    // Any leaf that agrees with the name wherever the tree branches shows
    // where the name differs from all of them. Below a branch past the
    // name's end every leaf does, so the descent stops there.
    int ref = root;
    while (ref >= 0) {
        ++nSteps;
        const CritNode& node = aNodes[static_cast<size_t>(ref)];
        ref = node.nByte > key.Size() ? node.iRep : node.aChild[node.Dir(key.Byte(node.nByte))];
    }
    const int iGroup = ~ref;
    const NameKey& other = aTags[static_cast<size_t>(iGroup)].key;
    int nByte = 0;
    unsigned nDiff = 0;
    for (;; ++nByte) {
        ++nSteps;
        nDiff = other.Byte(nByte) ^ key.Byte(nByte);
        if (nDiff || key.Byte(nByte) == 0)
            break;
    }
    if (nDiff == 0) {   // the name is open already: this tag becomes its newest
        TagPos& group = aTags[static_cast<size_t>(iGroup)];
        aTags.back().iGroup = iGroup;
        aTags.back().iSameNext = group.iNewest;
        group.iNewest = iTag;
        return;
    }
    while (nDiff & (nDiff - 1))
        nDiff &= nDiff - 1;
    const unsigned nOtherBits = nDiff ^ 0xFF;
    const int iNode = x_NewNode();
    aNodes[static_cast<size_t>(iNode)] = CritNode{{0, 0}, nByte, nOtherBits, ~iTag};
    const int nOtherDir = aNodes[static_cast<size_t>(iNode)].Dir(other.Byte(nByte));
    aNodes[static_cast<size_t>(iNode)].aChild[1 - nOtherDir] = ~iTag;
    // Branches stay ordered by the bit they test from the root down.
    int* where = &anTable[aTags.back().nSlot];
    while (*where >= 0) {
        ++nSteps;
        CritNode& node = aNodes[static_cast<size_t>(*where)];
        if (node.nByte > nByte || (node.nByte == nByte && node.nOtherBits > nOtherBits))
            break;
        where = &node.aChild[node.Dir(key.Byte(node.nByte))];
    }
    aNodes[static_cast<size_t>(iNode)].aChild[nOtherDir] = *where;
    *where = iNode;
}

// Nearest open tag of this name, or -1.
int ElemStack::Find(std::string_view strName, bool bIgnoreCase)
{
    const NameKey key(strName, bIgnoreCase);
    int ref = anTable[Slot(strName, bIgnoreCase)];
    if (ref == kNoRef)
        return -1;
    while (ref >= 0) {
        ++nSteps;
        const CritNode& node = aNodes[static_cast<size_t>(ref)];
        // Every name below shares the bytes before nByte, so none ends where this one does.
        if (node.nByte > key.Size())
            return -1;
        ref = node.aChild[node.Dir(key.Byte(node.nByte))];
    }
    const TagPos& group = aTags[static_cast<size_t>(~ref)];
    nSteps += static_cast<long long>(strName.size());
    if (group.key.str.size() != strName.size() ||
        !NameBytesEqual(group.key.str.data(), strName.data(), key.Size(), bIgnoreCase))
        return -1;
    return group.iNewest;
}

// Takes the last open tag of a name out of its slot's tree.
void ElemStack::x_RemoveGroup(int iGroup)
{
    const NameKey& key = aTags[static_cast<size_t>(iGroup)].key;
    int& root = anTable[aTags[static_cast<size_t>(iGroup)].nSlot];
    int* where = &root;
    int* whereParent = nullptr;
    int nDir = 0;
    while (*where >= 0) {
        ++nSteps;
        whereParent = where;
        CritNode& node = aNodes[static_cast<size_t>(*where)];
        nDir = node.Dir(key.Byte(node.nByte));
        where = &node.aChild[nDir];
    }
    if (!whereParent) {
        root = kNoRef;
        return;
    }
    const int iNode = *whereParent;
    const int sibling = aNodes[static_cast<size_t>(iNode)].aChild[1 - nDir];
    *whereParent = sibling;
    aNodes[static_cast<size_t>(iNode)].aChild[0] = iFreeNode;
    iFreeNode = iNode;
    // Branches above that stood for their keys by this leaf take one of the sibling's.
    const int iRep = sibling < 0 ? sibling : aNodes[static_cast<size_t>(sibling)].iRep;
    for (int ref = root; ref >= 0 && ref != sibling;) {
        ++nSteps;
        CritNode& node = aNodes[static_cast<size_t>(ref)];
        if (node.iRep == ~iGroup)
            node.iRep = iRep;
        ref = node.aChild[node.Dir(key.Byte(node.nByte))];
    }
}

// Pops iEntry and everything above it; each popped tag is the newest of its name.
void ElemStack::PopTo(int iEntry)
{
    for (; iTop >= iEntry; --iTop) {
        const TagPos& tag = aTags.back();
        ++nSteps;
        if (tag.iGroup == iTop)
            x_RemoveGroup(iTop);
        else
            aTags[static_cast<size_t>(tag.iGroup)].iNewest = tag.iSameNext;
        aTags.pop_back();
    }
    iPar = iTop >= 0 ? aTags.back().iParent : 0;
}
