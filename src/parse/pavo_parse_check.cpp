/*
 * pavo_parse_check.cpp - whether an answer is the platform's XML at all (a
 * well-formed document "Root" whose first child is "Result"), told apart
 * from a refusal; asked by the error record when the pipeline's answer ending
 * classes a failure with the error results on. The parsers themselves read
 * anything as they always did.
 */
#include "parse/pavo_parse_frame.h"
#include "xml/Markup.h"

bool pavo_inner_isplatformanswer(const char* xmldata)
{
    if (xmldata == nullptr)
        return false;
    CMarkup xml;
    return xml.SetDoc(xmldata) && xml.FindElem("Root") && xml.FindChildElem("Result");
}
