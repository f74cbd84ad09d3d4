#include "scanner/symbols.h"

const char* const kSymbolNames[kSymbolCount] = {
    "$", "error", "$undefined.",
    // tokens, in code order from 258
    "IDENTIFIER", "LEFTPAREN", "RIGHTPAREN", "COMMA", "STRING_VALUE", "FLOAT_VALUE", "NUMBER_VALUE",
    "DATE_VALUE", "SQL_NULL", "FROM", "AS", "WHERE", "EQUALS", "DOT", "LESS", "MORE", "LESS_EQUALS",
    "MORE_EQUALS", "IS", "NOT_EQUALS", "SELECT", "STAR", "COUNT", "DISTINCT", "AVG", "MAX", "MIN", "SUM",
    "STDEV", "FIRST", "LAST", "VAR", "ORDER", "BY", "ASC", "DESC", "ALL", "TOP", "PERCENT", "LIMIT",
    "SQL_GROUP", "HAVING", "SQL_DELETE", "UPDATE", "SET", "INSERT", "INTO", "VALUES", "DROP", "CREATE",
    "TABLE", "CHAR_DATATYPE", "SMALLINT_DATATYPE", "INTEGER_DATATYPE", "FLOAT_DATATYPE",
    "DQ_STRING_VALUE", "BRACKETED_VALUE", "CROSS", "INNER", "OUTER", "LEFT", "RIGHT", "FULL", "NATURAL",
    "USING", "ON", "SQL_IN", "BETWEEN", "LIKE", "CASESTATE", "CASE", "WHEN", "THEN", "ELSE", "END",
    "NULLIF", "COALESCE", "IF", "TIMESTAMP_VALUE", "TIME_VALUE", "UNION", "EXCEPT", "INTERSECT", "JOIN",
    "EVAL_PRIORITY", "ABS", "ROUND", "GETDATE", "MINUS", "PLUS", "DIVIDE", "UNARYMINUS", "OR", "AND",
    "NOT",
    // nonterminals, in the order of their first rule
    "Command", "SetOperations_Statement", "SetOperand", "SQL_Statement", "DDL_Statement", "AllDistinct",
    "Top", "LimitClause", "SelectElementList", "SelectExpressionAsName", "InsertColSpec", "ColList",
    "InsertValueList", "WhereClause", "ConstantExpression", "UpdateList", "UpdateValue", "NotIn",
    "NotBetween", "NotLike", "WhereConditions", "WherePredicate", "ColName", "TableName",
    "TableReferenceList", "TableReference", "JoinedTable", "OptionalOuter", "JoinType", "JoinCondition",
    "UnqualifiedColumnNameList", "UnqualifiedColumnName", "Identifier", "Identifier_QuotesAllowed",
    "Identifier_QuotesAllowedOrStar", "SelectExpression", "SelectExpressionItem", "ValueOrColName",
    "ValueOrColNameExpression", "ValueOrColNameExpressionList", "CaseExpression", "CaseAbbreviation",
    "CoalesceItemList", "CaseSpecification", "SearchedCaseClause", "SearchedWhenList",
    "SearchedWhenCondition", "SimpleCaseClause", "SimpleWhenList", "SimpleWhenCondition", "ElseClause",
    "GroupByClause", "GroupColList", "GroupColItem", "HavingClause", "OrderClause", "OrderColList",
    "OrderCol", "OrderColItem", "Value", "Function", "MathFunction", "DateFunction", "Aggregate",
    "AggregateFunction", "ColDataTypeList", "DataType", "LiteralValue", "Number", "Float", "String",
    "TimeStampLiteral", "DateLiteral", "TimeLiteral",
    // the name of every code above the last token
    ""};
