#include "tools/walker.h"

#include <cstddef>
#include <iterator>
#include <unordered_set>
#include <type_traits>
#include <vector>

#include "platform/utf.h"

namespace {

// ---------------------------------------------------------------------------------------
// What one property read gives.

struct ListAccess {
    HRESULT (*count)(IDispatch* list, LONG* count);
    HRESULT (*item)(IDispatch* list, LONG index, VARIANT* element);
};

enum VALUE_KIND { VALUE_ABSENT, VALUE_TEXT, VALUE_NUMBER, VALUE_ENUMERATION, VALUE_OBJECT, VALUE_LIST };

// One value lives as long as the walk and is read again for every property, so that its
// text keeps its buffer: a walk allocates no memory per text.
struct Value {
    VALUE_KIND kind = VALUE_ABSENT;
    std::string text;
    double number = 0;
    const char* valueName = nullptr;   // VALUE_ENUMERATION
    IDispatch* object = nullptr;       // VALUE_OBJECT, VALUE_LIST: one reference, the walk's
    const ListAccess* list = nullptr;  // VALUE_LIST

    // Ready for the next property; the text's buffer stays.
    void Reset() {
        kind = VALUE_ABSENT;
        text.clear();
        object = nullptr;
    }
};

using Reader = void (*)(IUnknown* self, Value& value);

enum PROPERTY_FLAGS : unsigned {
    PROPERTY_ALWAYS = 0,
    PROPERTY_UNLESS_EMPTY = 1, // a text property left out when it is empty
    PROPERTY_OBJECTS = 2,      // an object or a list: the walk may go into it
};

struct Property {
    const char* name;
    Reader read;
    unsigned flags;
};

// ---------------------------------------------------------------------------------------
// Readers, one per getter: a property getter of interface Itf with an out-parameter of
// type T. The object a reader gets is the interface its table is read through.

template <class Getter> struct GetterOf;
template <class Itf, class T> struct GetterOf<HRESULT (STDMETHODCALLTYPE Itf::*)(T*)> {
    using Interface = Itf;
    using Type = T;
};

template <auto Get> using InterfaceOf = typename GetterOf<decltype(Get)>::Interface;
template <auto Get> using TypeOf = typename GetterOf<decltype(Get)>::Type;

template <auto Get> HRESULT Call(IUnknown* self, TypeOf<Get>* out) {
    return (static_cast<InterfaceOf<Get>*>(self)->*Get)(out);
}

template <auto Get> void ReadText(IUnknown* self, Value& value) {
    BSTR text = nullptr;
    Call<Get>(self, &text);
    value.kind = VALUE_TEXT;
    AssignUtf16AsUtf8(value.text, text, SysStringLen(text));
    SysFreeString(text);
}

template <auto Get> void ReadNumber(IUnknown* self, Value& value) {
    TypeOf<Get> number{};
    Call<Get>(self, &number);
    value.kind = VALUE_NUMBER;
    value.number = static_cast<double>(number);
}

template <size_t N> const char* NameIn(const char* const (&names)[N], long index) {
    return index >= 0 && static_cast<size_t>(index) < N ? names[index] : "?";
}

template <auto Get, const auto& Names> void ReadEnumeration(IUnknown* self, Value& value) {
    TypeOf<Get> number{};
    Call<Get>(self, &number);
    value.kind = VALUE_ENUMERATION;
    value.number = number;
    value.valueName = NameIn(Names, number);
}

// An object property; absent when the getter does not answer S_OK with an object.
template <auto Get> void ReadObject(IUnknown* self, Value& value) {
    TypeOf<Get> object = nullptr;
    const HRESULT hr = Call<Get>(self, &object);
    if (hr != S_OK || !object) {
        if (object) object->Release();
        return;
    }
    value.kind = VALUE_OBJECT;
    value.object = object;
}

template <class List> HRESULT CountOf(IDispatch* list, LONG* count) { return static_cast<List*>(list)->get_Count(count); }
template <class List> HRESULT ItemOf(IDispatch* list, LONG index, VARIANT* element) {
    return static_cast<List*>(list)->get_Item(index, element);
}
template <class List> constexpr ListAccess kListAccess = {&CountOf<List>, &ItemOf<List>};

template <auto Get> void ReadList(IUnknown* self, Value& value) {
    ReadObject<Get>(self, value);
    if (value.kind != VALUE_OBJECT) return;
    value.kind = VALUE_LIST;
    value.list = &kListAccess<std::remove_pointer_t<TypeOf<Get>>>;
}

// A stack's items: the stack is its own list.
void ReadStackItems(IUnknown* self, Value& value) {
    auto* stack = static_cast<IGenericStack*>(self);
    stack->AddRef();
    value.kind = VALUE_LIST;
    value.object = stack;
    value.list = &kListAccess<IGenericStack>;
}

// ---------------------------------------------------------------------------------------
// The tables: per interface, its properties in the order they are reported.

const char* const kStatementTypes[] = {"UNKNOWN", "UPDATE", "SELECT", "INSERT", "DELETE", "CREATETABLE", "DROPTABLE",
                                       "SETOPERATIONS"};
const char* const kItemTypes[] = {"AGGREGATEFUNCTION", "SELECTSTAR", "COLUMNIDENT", "ARITOPERATOR",
                                  "BOOLOPERATOR", "COMPAREOPERATOR", "DATEFUNCTION", "LITERALVALUE",
                                  "MATHFUNCTION", "NULLEXPRESSION", "JOINOPERATOR", "TABLEIDENT",
                                  "CASESTATE", "CONDITIONALSTATEMENT", "SETOPERATOR"};

#define WALK_TEXT(itf, name) {#name, &ReadText<&itf::get_##name>, PROPERTY_ALWAYS}
#define WALK_NUMBER(itf, name) {#name, &ReadNumber<&itf::get_##name>, PROPERTY_ALWAYS}
#define WALK_ENUMERATION(itf, name, names) {#name, &ReadEnumeration<&itf::get_##name, names>, PROPERTY_ALWAYS}
#define WALK_OBJECT(itf, name) {#name, &ReadObject<&itf::get_##name>, PROPERTY_OBJECTS}
#define WALK_LIST(itf, name) {#name, &ReadList<&itf::get_##name>, PROPERTY_OBJECTS}

const Property kParser[] = {
    WALK_ENUMERATION(IParser, StatementType, kStatementTypes),
    // At most one statement object is there: the one of the statement type.
    WALK_OBJECT(IParser, SelectStmt),
    WALK_OBJECT(IParser, UpdateStmt),
    WALK_OBJECT(IParser, InsertStmt),
    WALK_OBJECT(IParser, DeleteStmt),
    WALK_OBJECT(IParser, CreateTableStmt),
    WALK_OBJECT(IParser, DropTableStmt),
    WALK_OBJECT(IParser, SetOperationsStmt),
};
const Property kSelectStmt[] = {
    WALK_NUMBER(ISelectStmt, Distinct),       WALK_NUMBER(ISelectStmt, Top),
    WALK_NUMBER(ISelectStmt, IsTopPercent),   WALK_NUMBER(ISelectStmt, TopPercent),
    WALK_NUMBER(ISelectStmt, HasLimitClause), WALK_NUMBER(ISelectStmt, LimitOffset),
    WALK_NUMBER(ISelectStmt, LimitCount),     WALK_LIST(ISelectStmt, SelectExpressionList),
    WALK_LIST(ISelectStmt, TableIdentList),   WALK_OBJECT(ISelectStmt, WhereExpressionStack),
    WALK_LIST(ISelectStmt, GroupByObjList),   WALK_OBJECT(ISelectStmt, HavingExpressionStack),
    WALK_LIST(ISelectStmt, OrderByObjList),
};
const Property kUpdateStmt[] = {
    WALK_OBJECT(IUpdateStmt, TableIdent),
    WALK_LIST(IUpdateStmt, UpdateItemList),
    WALK_OBJECT(IUpdateStmt, WhereExpressionStack),
};
const Property kInsertStmt[] = {
    WALK_OBJECT(IInsertStmt, TableIdent),
    WALK_LIST(IInsertStmt, ColumnIdentList),
    WALK_LIST(IInsertStmt, InsertExpressionList),
};
const Property kDeleteStmt[] = {WALK_OBJECT(IDeleteStmt, TableIdent), WALK_OBJECT(IDeleteStmt, WhereExpressionStack)};
const Property kCreateTableStmt[] = {WALK_OBJECT(ICreateTableStmt, TableIdent), WALK_LIST(ICreateTableStmt, CreateTableItemList)};
const Property kDropStmt[] = {WALK_OBJECT(IDropStmt, TableIdent)};
const Property kSetOperationsStmt[] = {
    WALK_NUMBER(ISetOperationsStmt, SetOperationType),
    WALK_NUMBER(ISetOperationsStmt, IsUnionAll),
    WALK_OBJECT(ISetOperationsStmt, SetOperationsExpressionStack),
};
const Property kGenericStack[] = {
    {"AsName", &ReadText<&IGenericStack::get_AsName>, PROPERTY_UNLESS_EMPTY},
    {"Items", &ReadStackItems, PROPERTY_OBJECTS},
};
const Property kOrderByObj[] = {WALK_NUMBER(IOrderByObj, Asc), WALK_OBJECT(IOrderByObj, ColumnIdent)};
const Property kUpdateItem[] = {WALK_OBJECT(IUpdateItem, ColumnIdent), WALK_OBJECT(IUpdateItem, ExpressionStack)};
const Property kCreateTableItem[] = {WALK_TEXT(ICreateTableItem, ColName), WALK_NUMBER(ICreateTableItem, DataType),
                                     WALK_NUMBER(ICreateTableItem, DataLength)};

// Every expression item, then the properties of its own interface.
const Property kExpressionItem[] = {WALK_TEXT(IExpressionItem, AsString),
                                    WALK_ENUMERATION(IExpressionItem, ItemType, kItemTypes)};
const Property kAggregateFunction[] = {WALK_NUMBER(IAggregateFunction, AggregateFunction),
                                       WALK_NUMBER(IAggregateFunction, Distinct)};
const Property kColumnIdent[] = {WALK_TEXT(IColumnIdent, TableName), WALK_TEXT(IColumnIdent, ColumnName)};
const Property kAritOperator[] = {WALK_NUMBER(IAritOperator, AritOperator)};
const Property kBoolOperator[] = {WALK_NUMBER(IBoolOperator, BoolOperator)};
const Property kCompareOperator[] = {WALK_NUMBER(ICompareOperator, CompareOperator)};
const Property kDateFunction[] = {WALK_NUMBER(IDateFunction, DateFunction)};
const Property kLiteralValue[] = {WALK_NUMBER(ILiteralValue, DataType)};
const Property kMathFunction[] = {WALK_NUMBER(IMathFunction, MathFunction)};
const Property kJoinOperator[] = {WALK_NUMBER(IJoinOperator, JoinType), WALK_NUMBER(IJoinOperator, JoinCondition),
                                  WALK_OBJECT(IJoinOperator, JoinConditionStack)};
const Property kTableIdent[] = {WALK_TEXT(ITableIdent, Name), WALK_TEXT(ITableIdent, Alias), WALK_NUMBER(ITableIdent, JoinedTable),
                                WALK_OBJECT(ITableIdent, JoinExpressionStack)};
const Property kCaseState[] = {WALK_NUMBER(ICaseState, CaseState)};
const Property kConditionalStatement[] = {WALK_NUMBER(IConditionalStatement, ConditionalStatement)};
const Property kSetOperator[] = {WALK_NUMBER(ISetOperator, SetOperator)};

#undef WALK_TEXT
#undef WALK_NUMBER
#undef WALK_ENUMERATION
#undef WALK_OBJECT
#undef WALK_LIST

// The properties of one interface. An object whose shapes hold no object or list property
// cannot lead back to itself, so the walk keeps no record of it while it is open.
struct Shape {
    const IID* iid;
    const Property* properties;
    size_t count;
    bool holdsObjects;
};

template <size_t N> Shape ShapeOf(const IID& iid, const Property (&properties)[N]) {
    bool holdsObjects = false;
    for (const Property& property : properties) holdsObjects |= (property.flags & PROPERTY_OBJECTS) != 0;
    return {&iid, properties, N, holdsObjects};
}

// The objects that are not expression items, in the order they are told apart, and the
// parser itself.
const Shape kObjectShapes[] = {
    ShapeOf(IID_ISelectStmt, kSelectStmt),
    ShapeOf(IID_IGenericStack, kGenericStack),
    ShapeOf(IID_IOrderByObj, kOrderByObj),
    ShapeOf(IID_IUpdateItem, kUpdateItem),
    ShapeOf(IID_ICreateTableItem, kCreateTableItem),
    ShapeOf(IID_IUpdateStmt, kUpdateStmt),
    ShapeOf(IID_IInsertStmt, kInsertStmt),
    ShapeOf(IID_IDeleteStmt, kDeleteStmt),
    ShapeOf(IID_ICreateTableStmt, kCreateTableStmt),
    ShapeOf(IID_IDropStmt, kDropStmt),
    ShapeOf(IID_ISetOperationsStmt, kSetOperationsStmt),
    ShapeOf(IID_IParser, kParser), // the last one (WalkStatement)
};

struct ItemShape {
    EXPRESSIONITEM_TYPE type;
    Shape shape;
};

// The own properties of each item type; SELECTSTAR and NULLEXPRESSION have none.
const ItemShape kItemShapes[] = {
    {EXPRESSIONITEM_TYPE_AGGREGATEFUNCTION, ShapeOf(IID_IAggregateFunction, kAggregateFunction)},
    {EXPRESSIONITEM_TYPE_COLUMNIDENT, ShapeOf(IID_IColumnIdent, kColumnIdent)},
    {EXPRESSIONITEM_TYPE_ARITOPERATOR, ShapeOf(IID_IAritOperator, kAritOperator)},
    {EXPRESSIONITEM_TYPE_BOOLOPERATOR, ShapeOf(IID_IBoolOperator, kBoolOperator)},
    {EXPRESSIONITEM_TYPE_COMPAREOPERATOR, ShapeOf(IID_ICompareOperator, kCompareOperator)},
    {EXPRESSIONITEM_TYPE_DATEFUNCTION, ShapeOf(IID_IDateFunction, kDateFunction)},
    {EXPRESSIONITEM_TYPE_LITERALVALUE, ShapeOf(IID_ILiteralValue, kLiteralValue)},
    {EXPRESSIONITEM_TYPE_MATHFUNCTION, ShapeOf(IID_IMathFunction, kMathFunction)},
    {EXPRESSIONITEM_TYPE_JOINOPERATOR, ShapeOf(IID_IJoinOperator, kJoinOperator)},
    {EXPRESSIONITEM_TYPE_TABLEIDENT, ShapeOf(IID_ITableIdent, kTableIdent)},
    {EXPRESSIONITEM_TYPE_CASESTATE, ShapeOf(IID_ICaseState, kCaseState)},
    {EXPRESSIONITEM_TYPE_CONDITIONALSTATEMENT, ShapeOf(IID_IConditionalStatement, kConditionalStatement)},
    {EXPRESSIONITEM_TYPE_SETOPERATOR, ShapeOf(IID_ISetOperator, kSetOperator)},
};

const Shape kExpressionItemShape = ShapeOf(IID_IExpressionItem, kExpressionItem);

// ---------------------------------------------------------------------------------------
// The walk.

// The objects being walked that hold objects (by their IUnknown identity), from the
// outermost to the current one: an object that holds one of them is not walked into again.
// Objects open and close last in, first out. The path is searched from its end while it is
// short (a parsed statement nests a few levels); a deeper path, which only a host that
// nests its own stacks can make, is also kept in a hash set.
class COpenObjects {
public:
    COpenObjects() { m_Path.reserve(kLinear); }

    // False when key is open already.
    bool Open(IUnknown* key) {
        if (m_Path.size() < kLinear) {
            for (IUnknown* open : m_Path)
                if (open == key) return false;
        } else {
            if (m_Index.empty()) m_Index.insert(m_Path.begin(), m_Path.end());
            if (!m_Index.insert(key).second) return false;
        }
        m_Path.push_back(key);
        return true;
    }
    // Closes the object opened last.
    void CloseLast() {
        IUnknown* closed = m_Path.back();
        m_Path.pop_back();
        if (m_Index.empty()) return;
        if (m_Path.size() < kLinear)
            m_Index.clear();
        else
            m_Index.erase(closed);
    }

private:
    static constexpr size_t kLinear = 32;
    std::vector<IUnknown*> m_Path;
    std::unordered_set<IUnknown*> m_Index;
};

class CWalk {
public:
    explicit CWalk(CModelVisitor& visitor) : m_Visitor(visitor) { m_Frames.reserve(kFirstFrames); }
    ~CWalk() {
        for (Frame& frame : m_Frames) frame.ReleaseAll();
    }

    // Reports object (one reference, the walk's) under name; known is its shape when the
    // caller knows it (the object is then read through that shape's interface).
    void Object(const char* name, IDispatch* object, const Shape* known = nullptr);
    void Run();

private:
    // Frames of a statement's walk: one per level of nesting.
    static constexpr size_t kFirstFrames = 32;
    enum FRAME_KIND { FRAME_OBJECT, FRAME_ELEMENTS };
    // An object, with the properties of its shapes (an expression item has two: those of
    // every item, then those of its own interface), or a list with its elements.
    struct Frame {
        FRAME_KIND kind;
        IUnknown* self;          // the object or the list: one reference
        IUnknown* readers[2];    // FRAME_OBJECT: the interface of each shape, one reference each
        const Shape* shapes[2];  //   (null when the shape is absent or done)
        const Property* next;    //   the next property of shapes[0] and the end of them
        const Property* end;
        bool opened;             //   the object is in m_Open
        const ListAccess* list;  // FRAME_ELEMENTS: the next index and the last one
        LONG index, count;

        void ReleaseAll() {
            for (IUnknown* reader : readers)
                if (reader) reader->Release();
            if (self) self->Release();
        }
    };

    void Report(const char* name, unsigned flags, Value& value);
    void Element(VARIANT& element);
    void Step();

    CModelVisitor& m_Visitor;
    std::vector<Frame> m_Frames;
    COpenObjects m_Open;
    Value m_Value; // the property being read
};

// The interface an object is recognised by is the one its first shape is read through.
void CWalk::Object(const char* name, IDispatch* object, const Shape* known) {
    const Shape* shapes[2] = {known, nullptr};
    IUnknown* readers[2] = {};
    if (known) {
        if (FAILED(object->QueryInterface(*known->iid, reinterpret_cast<void**>(&readers[0])))) shapes[0] = nullptr;
    } else if (IExpressionItem* item = nullptr;
               SUCCEEDED(object->QueryInterface(IID_IExpressionItem, reinterpret_cast<void**>(&item)))) {
        EXPRESSIONITEM_TYPE type = EXPRESSIONITEM_TYPE_AGGREGATEFUNCTION;
        const HRESULT hr = item->get_ItemType(&type);
        shapes[0] = &kExpressionItemShape;
        readers[0] = item;
        for (const ItemShape& entry : kItemShapes)
            if (SUCCEEDED(hr) && entry.type == type) shapes[1] = &entry.shape;
    } else {
        for (const Shape& shape : kObjectShapes) {
            IUnknown* probe = nullptr;
            if (FAILED(object->QueryInterface(*shape.iid, reinterpret_cast<void**>(&probe)))) continue;
            shapes[0] = &shape;
            readers[0] = probe;
            break;
        }
    }
    if (!shapes[0]) {
        object->Release();
        m_Visitor.Text(name, "<object>");
        return;
    }
    // An object whose shapes hold no object cannot lead back to itself.
    bool opened = false;
    if (shapes[0]->holdsObjects || (shapes[1] && shapes[1]->holdsObjects)) {
        IUnknown* identity = nullptr;
        if (SUCCEEDED(object->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity))))
            identity->Release(); // a key only: the frame below holds the object
        opened = m_Open.Open(identity);
        if (!opened) {
            readers[0]->Release();
            object->Release();
            m_Visitor.Text(name, "<cycle>");
            return;
        }
    }
    if (shapes[1] && FAILED(object->QueryInterface(*shapes[1]->iid, reinterpret_cast<void**>(&readers[1]))))
        shapes[1] = nullptr;
    m_Visitor.BeginObject(name, object);
    m_Frames.push_back({FRAME_OBJECT, object, {readers[0], readers[1]}, {shapes[0], shapes[1]},
                        shapes[0]->properties, shapes[0]->properties + shapes[0]->count, opened, nullptr, 0, 0});
}

void CWalk::Report(const char* name, unsigned flags, Value& value) {
    switch (value.kind) {
    case VALUE_ABSENT: return;
    case VALUE_TEXT:
        if (!(flags & PROPERTY_UNLESS_EMPTY) || !value.text.empty()) m_Visitor.Text(name, value.text);
        return;
    case VALUE_NUMBER: m_Visitor.Number(name, value.number); return;
    case VALUE_ENUMERATION: m_Visitor.Enumeration(name, static_cast<long>(value.number), value.valueName); return;
    case VALUE_OBJECT: Object(name, value.object); return;
    case VALUE_LIST: {
        LONG count = 0;
        value.list->count(value.object, &count);
        m_Visitor.BeginList(name, count < 0 ? 0 : count);
        m_Frames.push_back({FRAME_ELEMENTS, value.object, {}, {}, nullptr, nullptr, false, value.list, 1, count});
        return;
    }
    }
}

// The walk takes over the element's object reference.
void CWalk::Element(VARIANT& element) {
    if (V_VT(&element) == VT_BSTR) {
        AssignUtf16AsUtf8(m_Value.text, V_BSTR(&element), SysStringLen(V_BSTR(&element)));
        m_Visitor.Text(nullptr, m_Value.text);
        return;
    }
    if (V_VT(&element) != VT_DISPATCH || !V_DISPATCH(&element)) {
        m_Visitor.Text(nullptr, "<empty>");
        return;
    }
    IDispatch* object = V_DISPATCH(&element);
    V_VT(&element) = VT_EMPTY;
    Object(nullptr, object);
}

// One step: the next property, the next element, or the end of an object or list.
void CWalk::Step() {
    Frame& frame = m_Frames.back();
    if (frame.kind == FRAME_OBJECT) {
        while (frame.next == frame.end && frame.shapes[0]) {
            // The first shape is done: its interface goes, and the second one's turn comes.
            frame.readers[0]->Release();
            frame.readers[0] = frame.readers[1];
            frame.shapes[0] = frame.shapes[1];
            frame.readers[1] = nullptr;
            frame.shapes[1] = nullptr;
            if (frame.shapes[0]) {
                frame.next = frame.shapes[0]->properties;
                frame.end = frame.next + frame.shapes[0]->count;
            }
        }
        if (frame.shapes[0]) {
            const Property& property = *frame.next++;
            m_Value.Reset();
            property.read(frame.readers[0], m_Value); // frame may move from here on: Report pushes
            Report(property.name, property.flags, m_Value);
            return;
        }
        if (frame.opened) m_Open.CloseLast();
        frame.self->Release();
        m_Frames.pop_back();
        m_Visitor.EndObject();
        return;
    }
    if (frame.index <= frame.count) {
        VARIANT element;
        VariantInit(&element);
        frame.list->item(static_cast<IDispatch*>(frame.self), frame.index++, &element);
        Element(element);
        VariantClear(&element);
        return;
    }
    frame.self->Release();
    m_Frames.pop_back();
    m_Visitor.EndList();
}

void CWalk::Run() {
    while (!m_Frames.empty()) Step();
}

} // namespace

void WalkStatement(IParser* parser, CModelVisitor& visitor) {
    if (!parser) return;
    parser->AddRef();
    CWalk walk(visitor);
    walk.Object(nullptr, parser, &kObjectShapes[std::size(kObjectShapes) - 1]);
    walk.Run();
}

void WalkObject(IDispatch* object, CModelVisitor& visitor) {
    if (!object) return;
    object->AddRef();
    CWalk walk(visitor);
    walk.Object(nullptr, object);
    walk.Run();
}
