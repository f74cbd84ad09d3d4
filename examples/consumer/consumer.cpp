// consumer: parses one statement and prints its type, its tables and every postfix stack
// of a SELECT, through the C++ interface. Exit code 0 when the statement was accepted, 1
// when it was rejected (the error report goes to standard error).
//
//     consumer "SELECT a + 1 FROM t WHERE b = 2"
#include <iostream>

#include <tarvolin/tarvolin.hpp>

namespace {

void PrintStack(const char* name, const tarvolin::Ptr<IGenericStack>& stack) {
    std::cout << name << ":";
    for (auto item : tarvolin::items(stack)) std::cout << ' ' << tarvolin::as_string(item);
    std::cout << '\n';
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: consumer STATEMENT\n";
        return 2;
    }
    try {
        tarvolin::Apartment apartment;
        tarvolin::Parser parser;
        parser.parse(argv[1]);
        std::cout << "statement type " << parser.statement_type() << '\n';
        auto select = parser.select();
        if (!select) return 0;
        for (auto table : tarvolin::items(tarvolin::get(select, &ISelectStmt::get_TableIdentList)))
            std::cout << "table " << tarvolin::get(table, &ITableIdent::get_Name) << '\n';
        for (auto column : tarvolin::items(tarvolin::get(select, &ISelectStmt::get_SelectExpressionList)))
            PrintStack("column", column);
        PrintStack("where", tarvolin::get(select, &ISelectStmt::get_WhereExpressionStack));
        return 0;
    } catch (const tarvolin::Error& e) {
        std::cerr << e.what() << '\n';
        return 1;
    }
}
