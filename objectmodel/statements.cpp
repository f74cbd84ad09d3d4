#include "objectmodel/statements.h"

HRESULT ReadBool(bool flag, LONG* value) {
    if (!value) return E_POINTER;
    *value = flag ? -1 : 0;
    return S_OK;
}

namespace {

template <class T> HRESULT ReadValue(T stored, T* value) {
    if (!value) return E_POINTER;
    *value = stored;
    return S_OK;
}

} // namespace

HRESULT cCreateTableItem::get_DataLength(SHORT* value) {
    return ReadValue(static_cast<SHORT>(static_cast<uint16_t>(m_nLength & 0xFFFF)), value);
}
HRESULT cCreateTableItem::get_DataType(PARSER_DATATYPE* value) { return ReadEnum(m_nType, value); }

HRESULT cSelectStmt::get_Top(LONG* value) { return ReadValue(m_nTop, value); }
HRESULT cSelectStmt::get_TopPercent(DOUBLE* value) { return ReadValue(m_bTopPercent ? m_dTopPercent : 0.0, value); }
HRESULT cSelectStmt::get_LimitOffset(LONG* value) { return ReadValue(m_nLimitOffset, value); }
HRESULT cSelectStmt::get_LimitCount(LONG* value) { return ReadValue(m_nLimitCount, value); }

HRESULT cSetOperationsStmt::get_SetOperationType(INT* value) { return ReadValue(kNoSetOperationType, value); }

// A statement's parts are released one by one; an automation error raised by one release
// is shown, and the others are still released.
cSelectStmt::~cSelectStmt() {
    m_Tables.ReleaseShowingErrors();
    m_OrderBy.ReleaseShowingErrors();
    m_Where.ReleaseShowingErrors();
    m_GroupBy.ReleaseShowingErrors();
    m_Select.ReleaseShowingErrors();
    m_Having.ReleaseShowingErrors();
}
