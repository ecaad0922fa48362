/*
 * Markup_entities.cpp - character reference decoding for the navigator:
 * PredefEntityTable (the HTML 4 entity names plus "apos", built at compile
 * time into 130 hashed bucket strings) and CMarkup::UnescapeText. Used by the
 * navigator's getters for element data and attribute values.
 */
#include <cstring>
#include <string>

#include "xml/Markup_internal.h"

namespace {

struct EntityDef {
    const char* szName;
    int nCode;
};

// The HTML 4.01 character entities (Latin-1, special, symbols) plus "apos",
// laid out by hand in rows.
// clang-format off
constexpr EntityDef kEntityDefs[] = {
    // Latin-1, U+00A0 to U+00FF (96)
    {"nbsp", 160}, {"iexcl", 161}, {"cent", 162}, {"pound", 163}, {"curren", 164},
    {"yen", 165}, {"brvbar", 166}, {"sect", 167}, {"uml", 168}, {"copy", 169},
    {"ordf", 170}, {"laquo", 171}, {"not", 172}, {"shy", 173}, {"reg", 174},
    {"macr", 175}, {"deg", 176}, {"plusmn", 177}, {"sup2", 178}, {"sup3", 179},
    {"acute", 180}, {"micro", 181}, {"para", 182}, {"middot", 183}, {"cedil", 184},
    {"sup1", 185}, {"ordm", 186}, {"raquo", 187}, {"frac14", 188}, {"frac12", 189},
    {"frac34", 190}, {"iquest", 191}, {"Agrave", 192}, {"Aacute", 193}, {"Acirc", 194},
    {"Atilde", 195}, {"Auml", 196}, {"Aring", 197}, {"AElig", 198}, {"Ccedil", 199},
    {"Egrave", 200}, {"Eacute", 201}, {"Ecirc", 202}, {"Euml", 203}, {"Igrave", 204},
    {"Iacute", 205}, {"Icirc", 206}, {"Iuml", 207}, {"ETH", 208}, {"Ntilde", 209},
    {"Ograve", 210}, {"Oacute", 211}, {"Ocirc", 212}, {"Otilde", 213}, {"Ouml", 214},
    {"times", 215}, {"Oslash", 216}, {"Ugrave", 217}, {"Uacute", 218}, {"Ucirc", 219},
    {"Uuml", 220}, {"Yacute", 221}, {"THORN", 222}, {"szlig", 223}, {"agrave", 224},
    {"aacute", 225}, {"acirc", 226}, {"atilde", 227}, {"auml", 228}, {"aring", 229},
    {"aelig", 230}, {"ccedil", 231}, {"egrave", 232}, {"eacute", 233}, {"ecirc", 234},
    {"euml", 235}, {"igrave", 236}, {"iacute", 237}, {"icirc", 238}, {"iuml", 239},
    {"eth", 240}, {"ntilde", 241}, {"ograve", 242}, {"oacute", 243}, {"ocirc", 244},
    {"otilde", 245}, {"ouml", 246}, {"divide", 247}, {"oslash", 248}, {"ugrave", 249},
    {"uacute", 250}, {"ucirc", 251}, {"uuml", 252}, {"yacute", 253}, {"thorn", 254},
    {"yuml", 255},
    // Special (32)
    {"quot", 34}, {"amp", 38}, {"lt", 60}, {"gt", 62}, {"OElig", 338}, {"oelig", 339},
    {"Scaron", 352}, {"scaron", 353}, {"Yuml", 376}, {"circ", 710}, {"tilde", 732},
    {"ensp", 8194}, {"emsp", 8195}, {"thinsp", 8201}, {"zwnj", 8204}, {"zwj", 8205},
    {"lrm", 8206}, {"rlm", 8207}, {"ndash", 8211}, {"mdash", 8212}, {"lsquo", 8216},
    {"rsquo", 8217}, {"sbquo", 8218}, {"ldquo", 8220}, {"rdquo", 8221}, {"bdquo", 8222},
    {"dagger", 8224}, {"Dagger", 8225}, {"permil", 8240}, {"lsaquo", 8249},
    {"rsaquo", 8250}, {"euro", 8364},
    // Symbols, mathematical symbols and Greek letters (124)
    {"fnof", 402}, {"Alpha", 913}, {"Beta", 914}, {"Gamma", 915}, {"Delta", 916},
    {"Epsilon", 917}, {"Zeta", 918}, {"Eta", 919}, {"Theta", 920}, {"Iota", 921},
    {"Kappa", 922}, {"Lambda", 923}, {"Mu", 924}, {"Nu", 925}, {"Xi", 926},
    {"Omicron", 927}, {"Pi", 928}, {"Rho", 929}, {"Sigma", 931}, {"Tau", 932},
    {"Upsilon", 933}, {"Phi", 934}, {"Chi", 935}, {"Psi", 936}, {"Omega", 937},
    {"alpha", 945}, {"beta", 946}, {"gamma", 947}, {"delta", 948}, {"epsilon", 949},
    {"zeta", 950}, {"eta", 951}, {"theta", 952}, {"iota", 953}, {"kappa", 954},
    {"lambda", 955}, {"mu", 956}, {"nu", 957}, {"xi", 958}, {"omicron", 959},
    {"pi", 960}, {"rho", 961}, {"sigmaf", 962}, {"sigma", 963}, {"tau", 964},
    {"upsilon", 965}, {"phi", 966}, {"chi", 967}, {"psi", 968}, {"omega", 969},
    {"thetasym", 977}, {"upsih", 978}, {"piv", 982}, {"bull", 8226}, {"hellip", 8230},
    {"prime", 8242}, {"Prime", 8243}, {"oline", 8254}, {"frasl", 8260}, {"weierp", 8472},
    {"image", 8465}, {"real", 8476}, {"trade", 8482}, {"alefsym", 8501}, {"larr", 8592},
    {"uarr", 8593}, {"rarr", 8594}, {"darr", 8595}, {"harr", 8596}, {"crarr", 8629},
    {"lArr", 8656}, {"uArr", 8657}, {"rArr", 8658}, {"dArr", 8659}, {"hArr", 8660},
    {"forall", 8704}, {"part", 8706}, {"exist", 8707}, {"empty", 8709}, {"nabla", 8711},
    {"isin", 8712}, {"notin", 8713}, {"ni", 8715}, {"prod", 8719}, {"sum", 8721},
    {"minus", 8722}, {"lowast", 8727}, {"radic", 8730}, {"prop", 8733}, {"infin", 8734},
    {"ang", 8736}, {"and", 8743}, {"or", 8744}, {"cap", 8745}, {"cup", 8746},
    {"int", 8747}, {"there4", 8756}, {"sim", 8764}, {"cong", 8773}, {"asymp", 8776},
    {"ne", 8800}, {"equiv", 8801}, {"le", 8804}, {"ge", 8805}, {"sub", 8834},
    {"sup", 8835}, {"nsub", 8836}, {"sube", 8838}, {"supe", 8839}, {"oplus", 8853},
    {"otimes", 8855}, {"perp", 8869}, {"sdot", 8901}, {"lceil", 8968}, {"rceil", 8969},
    {"lfloor", 8970}, {"rfloor", 8971}, {"lang", 9001}, {"rang", 9002}, {"loz", 9674},
    {"spades", 9824}, {"clubs", 9827}, {"hearts", 9829}, {"diams", 9830},
    // XML's own
    {"apos", 39},
};
// clang-format on
constexpr int kEntityCount = static_cast<int>(sizeof kEntityDefs / sizeof kEntityDefs[0]);
static_assert(kEntityCount == 96 + 32 + 124 + 1, "HTML 4 entities plus apos");

constexpr int kEntityBuckets = 130;
constexpr int kMaxEntityName = 9;  // longest name read after "&"

constexpr int NameLength(const char* s)
{
    int n = 0;
    while (s[n])
        ++n;
    return n;
}

constexpr bool HasCapital(const char* s)
{
    for (; *s; ++s)
        if (*s >= 'A' && *s <= 'Z')
            return true;
    return false;
}

// x_Hash of the name's lower-case form.
constexpr int LowerHash(const char* s)
{
    int nSum = 0;
    for (; *s; ++s)
        nSum += static_cast<signed char>(AsciiLower(*s));
    return nSum % kEntityBuckets;
}

constexpr int PoolSize()
{
    int nSize = kEntityBuckets;  // one terminating zero per bucket
    for (const EntityDef& def : kEntityDefs)
        nSize += 5 + NameLength(def.szName);
    return nSize;
}

// Bucket b is the zero-terminated string at achPool + anBucket[b]; each entry
// is '0' + name length, four decimal digits of the code point, the lower-case name.
struct PredefEntityPool {
    char achPool[PoolSize()];
    unsigned short anBucket[kEntityBuckets];
};

constexpr PredefEntityPool BuildPredefEntityTable()
{
    PredefEntityPool table{};
    // Each name's bucket and case once, not once per bucket: Clang's default
    // limit on constant evaluation steps is otherwise exceeded.
    int anBucketOf[kEntityCount] = {};
    bool abCapital[kEntityCount] = {};
    for (int iDef = 0; iDef < kEntityCount; ++iDef) {
        anBucketOf[iDef] = LowerHash(kEntityDefs[iDef].szName);
        abCapital[iDef] = HasCapital(kEntityDefs[iDef].szName);
    }
    int nAt = 0;
    for (int iBucket = 0; iBucket < kEntityBuckets; ++iBucket) {
        table.anBucket[iBucket] = static_cast<unsigned short>(nAt);
        // Capital forms go first, so a name HTML 4 has in two cases (Eacute
        // and eacute) finds the capital's code point whichever case was written.
        for (int nPass = 0; nPass < 2; ++nPass) {
            for (int iDef = 0; iDef < kEntityCount; ++iDef) {
                const EntityDef& def = kEntityDefs[iDef];
                if (anBucketOf[iDef] != iBucket || abCapital[iDef] != (nPass == 0))
                    continue;
                const int nLen = NameLength(def.szName);
                table.achPool[nAt++] = static_cast<char>('0' + nLen);
                for (int nDiv = 1000; nDiv > 0; nDiv /= 10)
                    table.achPool[nAt++] = static_cast<char>('0' + def.nCode / nDiv % 10);
                for (int i = 0; i < nLen; ++i)
                    table.achPool[nAt++] = AsciiLower(def.szName[i]);
            }
        }
        table.achPool[nAt++] = '\0';
    }
    return table;
}

constexpr PredefEntityPool PredefEntityTable = BuildPredefEntityTable();

// Code point of a lower-case entity name, 0 if unknown.
int LookupEntity(const char* szName, int nLen)
{
    const char* p =
        PredefEntityTable.achPool + PredefEntityTable.anBucket[x_Hash(szName, kEntityBuckets)];
    while (*p) {
        const int nEntryLen = *p - '0';
        if (nEntryLen == nLen && std::memcmp(p + 5, szName, static_cast<size_t>(nLen)) == 0)
            return (p[1] - '0') * 1000 + (p[2] - '0') * 100 + (p[3] - '0') * 10 + (p[4] - '0');
        p += 5 + nEntryLen;
    }
    return 0;
}

// Digits of the base as far as they go: "&#6a5;" is 6.
unsigned int NumericReference(const char* szName)
{
    unsigned int nCode = 0;
    if (szName[1] == 'x') {
        for (const char* p = szName + 2;; ++p) {
            if (*p >= '0' && *p <= '9')
                nCode = nCode * 16 + static_cast<unsigned int>(*p - '0');
            else if (*p >= 'a' && *p <= 'f')
                nCode = nCode * 16 + static_cast<unsigned int>(*p - 'a' + 10);
            else
                break;
        }
    } else {
        for (const char* p = szName + 1; *p >= '0' && *p <= '9'; ++p)
            nCode = nCode * 10 + static_cast<unsigned int>(*p - '0');
    }
    return nCode;
}

// Above U+FFFF four bytes, the lead byte carrying bits 18 to 20 only.
char* WriteUtf8(char* pOut, unsigned int nCode)
{
    if (nCode < 0x80) {
        *pOut++ = static_cast<char>(nCode);
    } else if (nCode < 0x800) {
        *pOut++ = static_cast<char>(0xC0 | (nCode >> 6));
        *pOut++ = static_cast<char>(0x80 | (nCode & 0x3F));
    } else if (nCode < 0x10000) {
        *pOut++ = static_cast<char>(0xE0 | (nCode >> 12));
        *pOut++ = static_cast<char>(0x80 | ((nCode >> 6) & 0x3F));
        *pOut++ = static_cast<char>(0x80 | (nCode & 0x3F));
    } else {
        *pOut++ = static_cast<char>(0xF0 | ((nCode >> 18) & 0x07));
        *pOut++ = static_cast<char>(0x80 | ((nCode >> 12) & 0x3F));
        *pOut++ = static_cast<char>(0x80 | ((nCode >> 6) & 0x3F));
        *pOut++ = static_cast<char>(0x80 | (nCode & 0x3F));
    }
    return pOut;
}

}  // namespace

// Decoding never lengthens the text: a reference is at least four bytes
// ("&lt;", "&#5;"), three-byte characters need a name of two letters or four
// digits, four-byte ones five digits. So the output is written in place into
// room of the input's length, which is trimmed at the end.
void AppendUnescaped(std::string& strOut, const char* pText, size_t nLength)
{
    const char* p = pText;
    const char* const pEnd = pText + nLength;
    const char* pAmp = static_cast<const char*>(std::memchr(p, '&', nLength));
    if (!pAmp) {
        strOut.append(p, nLength);
        return;
    }
    const size_t nBase = strOut.size();
    strOut.resize(nBase + nLength);
    char* const pStart = &strOut[0];
    char* pOut = pStart + nBase;
    while (pAmp) {
        std::memcpy(pOut, p, static_cast<size_t>(pAmp - p));
        pOut += pAmp - p;
        char szName[kMaxEntityName + 1];
        int nLen = 0;
        const char* q = pAmp + 1;
        while (nLen < kMaxEntityName && q < pEnd && *q != ';' &&
               static_cast<unsigned char>(*q) <= 127)
            szName[nLen++] = AsciiLower(*q++);
        szName[nLen] = '\0';
        unsigned int nCode = 0;
        if (q < pEnd && *q == ';')
            nCode = szName[0] == '#' ? NumericReference(szName)
                                     : static_cast<unsigned int>(LookupEntity(szName, nLen));
        if (nCode) {
            pOut = WriteUtf8(pOut, nCode);
            p = q + 1;
        } else {
            // Not a reference: "&" alone, and the rest is copied as plain text.
            *pOut++ = '&';
            p = pAmp + 1;
        }
        pAmp = static_cast<const char*>(std::memchr(p, '&', static_cast<size_t>(pEnd - p)));
    }
    std::memcpy(pOut, p, static_cast<size_t>(pEnd - p));
    pOut += pEnd - p;
    strOut.resize(static_cast<size_t>(pOut - pStart));
}

// Text without references is built in one step: most values have none.
std::string UnescapedCopy(const char* pText, size_t nLength)
{
    if (!std::memchr(pText, '&', nLength))
        return std::string(pText, nLength);
    std::string strText;
    AppendUnescaped(strText, pText, nLength);
    return strText;
}

std::string CMarkup::UnescapeText(const char* szText, int nTextLength)
{
    if (!szText)
        return std::string();
    return UnescapedCopy(szText, nTextLength < 0 ? std::strlen(szText)
                                                 : static_cast<size_t>(nTextLength));
}
