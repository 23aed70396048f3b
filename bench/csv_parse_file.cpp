// Parses a CSV file into a table with CSVParser::parseFile and prints the
// number of rows: the library's side of the CSV benchmark run as a program of
// its own, as Python's reader is.

#include <FileSystem/tabular/CSVParser.h>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    FileSystem::CSVParser parser;
    if (!parser.parseFile(argv[1], false, false, false))
        return 1;
    std::printf("%d\n", parser.getNumberOfRows());
    return 0;
}
