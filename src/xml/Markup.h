/*
 * Markup.h - CMarkup, the XML element navigator that every answer parser
 * walks: one document text, an index of its elements by offset, and a cursor
 * of parent, main and child positions. Behind it stand the parser with its
 * end-tag stack, the node and attribute scanners, the entities and the getters.
 */
#ifndef PAVO_XML_MARKUP_H
#define PAVO_XML_MARKUP_H

#include <memory>
#include <string>
#include <string_view>

// Argument type of every name parameter: a borrowed C string, null meaning any.
struct MCD_CSTR {
    MCD_CSTR() : pcsz(nullptr) {}
    MCD_CSTR(const char* p) : pcsz(p) {}
    MCD_CSTR(const std::string& s) : pcsz(s.c_str()) {}
    operator const char*() const { return pcsz; }
    const char* pcsz;
};

struct ElemPos;
struct ElemPosTree;
struct FilePos;
struct SavedPosMapArray;
struct TokenPos;
struct PathPos;

class CMarkup {
public:
    enum MarkupDocFlags {
        MDF_IGNORECASE = 8,  // tag and attribute names ignore ASCII case
        MDF_READFILE = 16,   // file-reading mode: SetDoc and the finders refuse
        MDF_WRITEFILE = 32,  // file-writing mode: likewise
    };
    enum MarkupNodeType {
        MNT_ELEMENT = 1,
        MNT_TEXT = 2,
        MNT_WHITESPACE = 4,
        MNT_CDATA_SECTION = 8,
        MNT_PROCESSING_INSTRUCTION = 16,
        MNT_COMMENT = 32,
        MNT_DOCUMENT_TYPE = 64,
        MNT_LONE_END_TAG = 128,
        MNT_NODE_ERROR = 32768,
    };

    CMarkup();
    ~CMarkup();
    CMarkup(const CMarkup&) = delete;
    CMarkup& operator=(const CMarkup&) = delete;

    // Both forms take the text up to its first zero byte; false unless well formed.
    bool SetDoc(const char* szDoc);
    bool SetDoc(const std::string& strDoc);
    bool IsWellFormed() const;
    std::string GetError() const { return m_strResult; }
    int GetDocFlags() const { return m_nDocFlags; }
    // The file bits are accepted here only because there is no file reader to
    // set them; with them set the navigator refuses work as an open file would.
    void SetDocFlags(int nFlags) { m_nDocFlags = nFlags; }

    bool FindElem(MCD_CSTR szName = MCD_CSTR());
    bool FindChildElem(MCD_CSTR szName = MCD_CSTR());
    bool IntoElem();
    bool OutOfElem();
    void ResetChildPos() { x_SetPos(m_iPosParent, m_iPos, 0); }
    void ResetMainPos() { x_SetPos(m_iPosParent, 0, 0); }
    void ResetPos() { x_SetPos(0, 0, 0); }

    std::string GetTagName() const;
    std::string GetData() const { return x_GetData(m_iPos); }
    std::string GetChildData() const { return x_GetData(m_iPosChild); }
    std::string GetAttrib(MCD_CSTR szAttrib) const { return x_GetAttrib(m_iPos, szAttrib); }
    std::string GetChildAttrib(MCD_CSTR szAttrib) const
    {
        return x_GetAttrib(m_iPosChild, szAttrib);
    }

    // Steps the last parse's end-tag matching took (branches visited, name
    // bytes compared, tags popped): tests check that it grows with the text.
    long long GetMatchSteps() const { return m_nMatchSteps; }

    // Decodes character references; nTextLength -1 means up to the zero byte.
    static std::string UnescapeText(const char* szText, int nTextLength = -1);

private:
    ElemPos& ELEM(int i) const;
    void x_SetPos(int iPosParent, int iPos, int iPosChild);
    bool x_ParseDoc();
    void x_ParseElem(TokenPos& token);
    int x_GetFreePos();
    void x_AllocElemPos(int nNewSize);
    void x_LinkElem(int iPosParent, int iPos);
    bool x_MarkUnended(int iPos, std::string_view strTagName);
    void x_RecomputeLevels();
    int x_FindElem(int iPosParent, int iPos, const PathPos& path) const;
    std::string x_GetData(int iPos) const;
    std::string x_GetAttrib(int iPos, const char* szAttrib) const;
    void x_AddResult(const char* szName, std::string_view strTagName = {}, int nOffset = -1,
                     int nLength = -1);

    std::string m_strDoc;
    std::string m_strResult;
    int m_iPosParent;
    int m_iPos;
    int m_iPosChild;
    int m_iPosFree;
    int m_iPosDeleted;
    int m_nNodeType;
    int m_nNodeOffset;
    int m_nNodeLength;
    int m_nDocFlags;
    long long m_nMatchSteps = 0;
    FilePos* m_pFilePos;                // no file reader or writer is built
    SavedPosMapArray* m_pSavedPosMaps;  // no named saved positions are built
    std::unique_ptr<ElemPosTree> m_pElemPosTree;

    // The attributes of the element read last, in document order, as offsets:
    // parsers read an element's attributes one after another, and this way its
    // start tag is tokenized once. Lookups still find the first attribute of
    // the name. Mutable because the getters are const; one thread per CMarkup.
    struct AttribSpan {
        int nName;
        int nNameLen;
        int nValue;
        int nValueLen;
    };
    static constexpr int kAttribSpans = 24;
    void x_IndexAttribs(int iPos) const;
    int x_FindAttribSpan(const char* szAttrib, size_t nAttribLen, bool bPlainName) const;
    mutable int m_iAttribElem;  // element indexed below, 0 for none
    mutable int m_nAttribNext;  // where the scan of the rest resumes, -1 when complete
    mutable int m_nAttribCount;
    // No two indexed names are equal, so a plain name's match is its first one
    // and the span after the last hit can be tried before all others.
    mutable bool m_bAttribDistinct;
    mutable int m_nAttribGuess;
    mutable AttribSpan m_aAttribSpans[kAttribSpans];
};

#endif
