// A walk over what a host sees of a parsed statement, through the public interfaces only:
// the statement type, every property of the statement object, every list with its
// elements, and every stack with its items in order, each item with AsString, ItemType and
// the properties of its own interface, nested stacks and statements included.
//
// The walk is iterative (an explicit stack of frames), so the depth of the statement does
// not bound it. It reports what it reads, in order, to a visitor:
//
//     struct Collect : CModelVisitor { ... };   // overrides the seven callbacks
//     Collect collect;
//     WalkStatement(parser, collect);           // or WalkObject(whereStack, collect)
//
// Every BeginObject is matched by one EndObject and every BeginList by one EndList, with
// the object's properties or the list's elements between them. Names are property names
// ("WhereExpressionStack", "AsString"); list elements have a null name and come in order
// from Item(1) to Item(Count).
#pragma once

#include <string>

#include "interfaces/interfaces.h"

class CModelVisitor {
public:
    virtual ~CModelVisitor() = default;

    // An object: the parser itself, a statement, a stack, an expression item, an ORDER BY
    // column, an UPDATE assignment or a CREATE TABLE column. The visitor may read more of
    // it through object (borrowed: valid until the matching EndObject).
    virtual void BeginObject(const char* name, IDispatch* object) = 0;
    virtual void EndObject() = 0;
    // A list of count elements: the items of a stack or the elements of a collection.
    virtual void BeginList(const char* name, long count) = 0;
    virtual void EndList() = 0;

    // A text property in UTF-8. A list element that is not an object of the model is a
    // text too: "<empty>" when it holds no object, "<object>" for an unknown object, and
    // "<cycle>" for an object that is being walked already (a host can push a stack into
    // itself).
    virtual void Text(const char* name, const std::string& utf8) = 0;
    // A numeric or boolean property, or an enumeration value without a name table.
    virtual void Number(const char* name, double value) = 0;
    // StatementType and ItemType: the value and its enumerator name without the prefix
    // ("SELECT", "COLUMNIDENT"), or "?" for a value outside the enumeration.
    virtual void Enumeration(const char* name, long value, const char* valueName) = 0;
};

// The parser as one object: StatementType, then the statement object of that type under
// its property name ("SelectStmt", ...); nothing more when no statement is parsed.
void WalkStatement(IParser* parser, CModelVisitor& visitor);

// One object of the model, as it would be walked as a list element (name null).
void WalkObject(IDispatch* object, CModelVisitor& visitor);
