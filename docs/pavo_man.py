#!/usr/bin/env python3
# pavo_man.py - turns Doxygen's XML of pavo.h into section-3 man pages, one per
# function (pavo_login.3, ...) and one for the header (pavo.h.3) with its
# records and enumerations. Run by the docs build: pavo_man.py XMLDIR OUTDIR VERSION
import os
import re
import sys
import xml.etree.ElementTree as ET


def roff(text):
    text = re.sub(r"\s+", " ", text.replace("\\", "\\e")).strip()
    return re.sub(r"^([.'])", r"\\&\1", text)


def plain(node, skip=("parameterlist", "simplesect")):
    """The text of a description without its parameter and return lists."""
    if node is None:
        return ""
    parts = [node.text or ""]
    for child in node:
        if child.tag not in skip:
            parts.append(plain(child, skip))
        parts.append(child.tail or "")
    return "".join(parts)


def paragraphs(description):
    out = []
    for para in description.findall("para") if description is not None else []:
        text = roff(plain(para))
        if text:
            out.append(text)
    return out


def code_text(node):
    """A node of a programlisting as source text: <sp/> is a blank."""
    parts = [" " if node.tag == "sp" else node.text or ""]
    for child in node:
        parts += [code_text(child), child.tail or ""]
    return "".join(parts)


def code_lines(listing):
    """The lines of a Doxygen programlisting, escaped for roff."""
    return [re.sub(r"^([.'])", r"\\&\1", code_text(line).replace("\\", "\\e"))
            for line in listing.findall("codeline")]


def page(name, summary, version):
    return [f'.TH {name} 3 "" "libpavo {version}" "libpavo manual"', ".SH NAME",
            f"{name} \\- {roff(summary)}"]


def function_page(member, version):
    name = member.findtext("name")
    brief = " ".join(paragraphs(member.find("briefdescription")))
    detail = member.find("detaileddescription")
    lines = page(name, brief.rstrip("."), version)
    signature = f"{plain(member.find('type'))} {name}{member.findtext('argsstring')};"
    lines += [".SH SYNOPSIS", ".nf", ".B #include <pavo.h>", ".PP", roff(signature), ".fi",
              ".SH DESCRIPTION"]
    # Doxygen may repeat the brief as the first paragraph of the details.
    texts = paragraphs(detail)
    if not texts or texts[0] != brief:
        texts.insert(0, brief)
    lines += [p + "\n.PP" for p in texts]
    for item in detail.iter("parameteritem"):
        if not any(l.startswith(".SH PARAMETERS") for l in lines):
            lines.append(".SH PARAMETERS")
        lines += [".TP", ".I " + item.findtext("parameternamelist/parametername"),
                  roff(plain(item.find("parameterdescription")))]
    for section in detail.iter("simplesect"):
        if section.get("kind") == "return":
            lines += [".SH RETURN VALUE", roff(plain(section))]
    # "@par Example" with a snippet of examples/pavo_requests.c.
    for section in detail.iter("simplesect"):
        listing = section.find(".//programlisting")
        if section.get("kind") == "par" and listing is not None:
            lines += [".SH EXAMPLE", ".nf"] + code_lines(listing) + [".fi"]
    lines += [".SH SEE ALSO", ".BR pavo.h (3),", ".BR pavo (1)"]
    return lines


def header_page(root, compounds, version):
    lines = page("pavo.h", "the C interface of libpavo", version)
    lines += [".SH DESCRIPTION"] + [p + "\n.PP" for p in
                                    paragraphs(root.find("compounddef/detaileddescription"))]
    lines.append(".SH FUNCTIONS")
    for member in root.iter("memberdef"):
        if member.get("kind") == "function":
            brief = " ".join(paragraphs(member.find("briefdescription")))
            lines += [".TP", ".BR " + member.findtext("name") + " (3)", brief]
    lines.append(".SH ENUMERATIONS")
    for member in root.iter("memberdef"):
        if member.get("kind") == "enum":
            lines += [".TP", ".B " + member.findtext("name"),
                      " ".join(paragraphs(member.find("briefdescription")))]
            for value in member.findall("enumvalue"):
                text = roff(plain(value.find("briefdescription")))
                initial = (value.findtext("initializer") or "").replace("=", "").strip()
                lines += [".br", f"\\fI{value.findtext('name')}\\fR"
                          + (f" {initial}" if initial else "") + (f": {text}" if text else "")]
    lines.append(".SH RECORDS")
    for compound in compounds:
        definition = compound.find("compounddef")
        lines += [".TP", ".B " + definition.findtext("compoundname"),
                  " ".join(paragraphs(definition.find("briefdescription")))]
        for member in definition.iter("memberdef"):
            if member.get("kind") == "variable":
                lines += [".br", f"\\fI{member.findtext('name')}\\fR: "
                          + roff(plain(member.find("briefdescription")))]
    lines += [".SH SEE ALSO", ".BR pavo (1)"]
    return lines


def main():
    xml_dir, out_dir, version = sys.argv[1:4]
    os.makedirs(out_dir, exist_ok=True)
    root = ET.parse(os.path.join(xml_dir, "pavo_8h.xml")).getroot()
    pages = {"pavo.h": None}
    for member in root.iter("memberdef"):
        if member.get("kind") == "function":
            pages[member.findtext("name")] = function_page(member, version)
    compounds = [ET.parse(os.path.join(xml_dir, f)).getroot()
                 for f in sorted(os.listdir(xml_dir))
                 if f.startswith(("struct", "union")) and f.endswith(".xml")]
    pages["pavo.h"] = header_page(root, compounds, version)
    for name, lines in pages.items():
        with open(os.path.join(out_dir, name + ".3"), "w", encoding="utf-8") as out:
            out.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
