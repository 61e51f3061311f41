#pragma once
// Matrices and scalars as a person writes them (inline, text files, Matrix
// Market files) and as the command-line host prints them back.
#include <cstdint>
#include <deque>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "frame/export_kinds.hpp"

namespace tarnx::cli {

// Bad input from the user: one line, exit code 2.
struct Bad : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One entry as written. Cells point into text owned by a TextStore.
struct Cell {
  std::string_view text;    // a whole literal ("1+2i"), or the real part when `apart`
  std::string_view imag;    // the imaginary part when the source gives it apart
  bool apart = false;
  bool negate = false;      // mirrored entry of a skew-symmetric matrix
  bool conjugate = false;   // mirrored entry of a Hermitian matrix
  int32_t line = 0;         // file line, or row of an inline value
};

struct Grid {
  int32_t rows = 0;
  int32_t cols = 0;
  std::vector<Cell> cells;  // row-major; an empty text stands for zero
  std::string where;        // "file 'a.txt'", "standard input" or "inline value"
  bool line_numbers = true; // cells count file lines rather than rows
};

using TextStore = std::deque<std::string>;

// Reads a matrix argument: '[1 2; 3 4]' inline, '-' for standard input, or a
// file path (Matrix Market when it says so, else whitespace-separated rows).
Grid read_grid(const std::string& arg, TextStore& store, bool* stdin_used);

// Writes the grid's values as `elem` elements into `out`; throws Bad naming
// the place of a value that does not parse.
void convert(const Grid& grid, arg::Elem elem, void* out);

// Parses one scalar literal into `out` (an element of type `elem`).
void parse_scalar(std::string_view text, arg::Elem elem, void* out);

// A stored array as the library left it, for printing.
struct View {
  arg::Elem elem;
  arg::Shape shape;
  int32_t rows;
  int32_t cols;
  const void* data;
};

// digits 0: the shortest text that reads back to the same bits.
std::string format_element(arg::Elem elem, const void* data, std::size_t index, int digits);
// The rows of a view, columns aligned, each line starting with `indent`.
std::string format_rows(const View& v, int digits, std::string_view indent);
// The header line of an output: "C: float64 matrix, 2 x 3".
std::string describe(std::string_view name, const View& v);

// ASCII lower case, for names and keywords compared without case.
std::string lower_case(std::string_view s);

// Writes a view to a file: Matrix Market for a .mtx name, else plain rows;
// digits as for format_element.
void write_file(const std::string& path, const View& v, int digits);

}  // namespace tarnx::cli
