#include "cli/values.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "cli/os.hpp"
#include "tools/export_table.hpp"

namespace tarnx::cli {
namespace {

using arg::Elem;

// Brackets count as blanks so that a file or standard input may hold the
// inline form '[1 2; 3 4]' too.
bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == ',' || c == '[' || c == ']';
}

std::string count_of(int32_t n, const char* word) {
  return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

std::string quoted(std::string_view s) {
  std::string q = "'";
  q.append(s.substr(0, 40));
  if (s.size() > 40) q += "...";
  return q + "'";
}

// ---- reading rows of numbers: inline values and plain text files -----------

// Rows end at a newline or ';'; values are separated by blanks or commas; '#'
// and '%' start a comment. Rows with no values are skipped, so blank lines
// and comment lines are harmless.
Grid parse_rows(std::string_view text, std::string where, bool file) {
  Grid g;
  g.where = std::move(where);
  g.line_numbers = file;
  int32_t line = 1;
  int32_t row = 0;
  int32_t first_row_line = 0;
  std::vector<Cell> current;
  auto end_row = [&] {
    if (current.empty()) return;
    ++row;
    const int32_t place = file ? line : row;
    const auto n = static_cast<int32_t>(current.size());
    if (g.rows == 0) {
      g.cols = n;
      first_row_line = place;
    } else if (n != g.cols) {
      const char* unit = file ? "line" : "row";
      throw Bad(g.where + " " + unit + " " + std::to_string(place) + ": " + count_of(n, "value") +
                " where " + unit + " " + std::to_string(first_row_line) + " has " +
                std::to_string(g.cols));
    }
    for (Cell& c : current) c.line = place;
    g.cells.insert(g.cells.end(), current.begin(), current.end());
    ++g.rows;
    current.clear();
  };
  std::size_t i = 0;
  while (i < text.size()) {
    const char c = text[i];
    if (c == '\n' || c == ';') {
      end_row();
      if (c == '\n') ++line;
      ++i;
    } else if (c == '#' || c == '%') {
      while (i < text.size() && text[i] != '\n') ++i;
    } else if (is_blank(c)) {
      ++i;
    } else {
      const std::size_t start = i;
      while (i < text.size() && !is_blank(text[i]) && text[i] != '\n' && text[i] != ';' &&
             text[i] != '#' && text[i] != '%')
        ++i;
      Cell cell;
      cell.text = text.substr(start, i - start);
      current.push_back(cell);
    }
  }
  end_row();
  return g;
}

// ---- Matrix Market ---------------------------------------------------------

struct Token {
  std::string_view text;
  int32_t line;
};

// Splits the data part of a Matrix Market file (after the header) into lines
// of tokens, skipping comments and blank lines.
std::vector<std::vector<Token>> data_lines(std::string_view text, int32_t first_line) {
  std::vector<std::vector<Token>> lines;
  int32_t line = first_line;
  std::size_t i = 0;
  while (i <= text.size()) {
    std::size_t end = text.find('\n', i);
    if (end == std::string_view::npos) end = text.size();
    std::string_view l = text.substr(i, end - i);
    std::vector<Token> tokens;
    if (l.empty() || l[0] != '%') {
      std::size_t k = 0;
      while (k < l.size()) {
        while (k < l.size() && (l[k] == ' ' || l[k] == '\t' || l[k] == '\r')) ++k;
        const std::size_t s = k;
        while (k < l.size() && l[k] != ' ' && l[k] != '\t' && l[k] != '\r') ++k;
        if (k > s) tokens.push_back({l.substr(s, k - s), line});
      }
    }
    if (!tokens.empty()) lines.push_back(std::move(tokens));
    ++line;
    i = end + 1;
  }
  return lines;
}

int32_t mtx_size(const Token& t, const std::string& where, const char* what) {
  int64_t v = 0;
  auto [p, ec] = std::from_chars(t.text.data(), t.text.data() + t.text.size(), v);
  if (ec != std::errc() || p != t.text.data() + t.text.size() || v < 0 || v > INT32_MAX)
    throw Bad(where + " line " + std::to_string(t.line) + ": " + quoted(t.text) + " is not a valid " +
              what);
  return static_cast<int32_t>(v);
}

Grid parse_mtx(std::string_view text, std::string where) {
  Grid g;
  g.where = std::move(where);
  const std::size_t eol = std::min(text.find('\n'), text.size());
  std::vector<std::string> head;
  {
    std::string h = lower_case(text.substr(0, eol));
    std::size_t k = 0;
    while (k < h.size()) {
      while (k < h.size() && std::isspace(static_cast<unsigned char>(h[k]))) ++k;
      const std::size_t s = k;
      while (k < h.size() && !std::isspace(static_cast<unsigned char>(h[k]))) ++k;
      if (k > s) head.push_back(h.substr(s, k - s));
    }
  }
  const std::string at1 = g.where + " line 1: ";
  if (head.size() != 5 || head[0] != "%%matrixmarket")
    throw Bad(at1 + "expected the header '%%MatrixMarket matrix FORMAT FIELD SYMMETRY'");
  if (head[1] != "matrix") throw Bad(at1 + "only 'matrix' objects can be read, not '" + head[1] + "'");
  const std::string& format = head[2];
  const std::string& field = head[3];
  const std::string& symmetry = head[4];
  if (format != "array" && format != "coordinate")
    throw Bad(at1 + "unknown format '" + format + "' (array or coordinate)");
  if (field != "real" && field != "double" && field != "integer" && field != "complex" &&
      field != "pattern")
    throw Bad(at1 + "unknown field '" + field + "' (real, integer, complex or pattern)");
  if (symmetry != "general" && symmetry != "symmetric" && symmetry != "skew-symmetric" &&
      symmetry != "hermitian")
    throw Bad(at1 + "unknown symmetry '" + symmetry + "'");
  if (format == "array" && field == "pattern") throw Bad(at1 + "a pattern matrix must be in coordinate format");
  if (symmetry == "hermitian" && field != "complex") throw Bad(at1 + "only a complex matrix can be hermitian");

  const auto lines = data_lines(text.substr(std::min(eol + 1, text.size())), 2);
  if (lines.empty()) throw Bad(g.where + ": the size line is missing");
  const auto& size = lines[0];
  const bool coordinate = format == "coordinate";
  if (size.size() != (coordinate ? 3u : 2u))
    throw Bad(g.where + " line " + std::to_string(size[0].line) + ": the size line needs " +
              (coordinate ? "3 numbers (rows, columns, entries)" : "2 numbers (rows, columns)"));
  g.rows = mtx_size(size[0], g.where, "row count");
  g.cols = mtx_size(size[1], g.where, "column count");
  if (static_cast<int64_t>(g.rows) * g.cols > INT32_MAX)
    throw Bad(g.where + ": " + std::to_string(g.rows) + " x " + std::to_string(g.cols) + " is too large");
  const bool mirrored = symmetry != "general";
  if (mirrored && g.rows != g.cols) throw Bad(g.where + ": a " + symmetry + " matrix must be square");
  g.cells.assign(static_cast<std::size_t>(g.rows) * g.cols, Cell{});

  const bool complex = field == "complex";
  const int parts = field == "pattern" ? 0 : complex ? 2 : 1;
  auto cell_at = [&](const Token* t, int32_t line) {
    Cell c;
    c.line = line;
    if (parts == 0) {
      c.text = "1";
    } else {
      c.text = t[0].text;
      c.apart = true;
      if (parts == 2) c.imag = t[1].text;
    }
    return c;
  };
  auto place = [&](int32_t i, int32_t j, const Cell& c) {
    g.cells[static_cast<std::size_t>(i) * g.cols + j] = c;
    if (mirrored && i != j) {
      Cell m = c;
      m.negate = symmetry == "skew-symmetric";
      m.conjugate = symmetry == "hermitian";
      g.cells[static_cast<std::size_t>(j) * g.cols + i] = m;
    }
  };
  const std::string counted = symmetry == "general" ? "" : " (" + symmetry + ": one triangle)";

  if (coordinate) {
    const int32_t entries = mtx_size(size[2], g.where, "entry count");
    if (static_cast<std::size_t>(entries) != lines.size() - 1)
      throw Bad(g.where + ": the size line announces " + std::to_string(entries) + " entries, found " +
                std::to_string(lines.size() - 1));
    for (std::size_t k = 1; k < lines.size(); ++k) {
      const auto& l = lines[k];
      const std::string at = g.where + " line " + std::to_string(l[0].line) + ": ";
      if (l.size() != static_cast<std::size_t>(2 + parts))
        throw Bad(at + "expected " + std::to_string(2 + parts) + " numbers (row, column" +
                  (parts == 0 ? "" : parts == 1 ? ", value" : ", real, imaginary") + "), found " +
                  std::to_string(l.size()));
      const int32_t i = mtx_size(l[0], g.where, "row index");
      const int32_t j = mtx_size(l[1], g.where, "column index");
      if (i < 1 || i > g.rows || j < 1 || j > g.cols)
        throw Bad(at + "entry (" + std::to_string(i) + ", " + std::to_string(j) + ") is outside the " +
                  std::to_string(g.rows) + " x " + std::to_string(g.cols) + " matrix");
      if (mirrored && i < j) throw Bad(at + "entry above the diagonal in a " + symmetry + " matrix");
      place(i - 1, j - 1, cell_at(l.data() + 2, l[0].line));
    }
    return g;
  }

  // Array format: values column by column, one triangle when mirrored.
  std::vector<Token> values;
  for (std::size_t k = 1; k < lines.size(); ++k)
    values.insert(values.end(), lines[k].begin(), lines[k].end());
  int64_t expected = static_cast<int64_t>(g.rows) * g.cols;
  if (symmetry == "symmetric" || symmetry == "hermitian") expected = int64_t{g.cols} * (g.cols + 1) / 2;
  if (symmetry == "skew-symmetric") expected = int64_t{g.cols} * (g.cols - 1) / 2;
  if (static_cast<int64_t>(values.size()) != expected * parts)
    throw Bad(g.where + ": expected " + std::to_string(expected * parts) + " numbers" + counted +
              ", found " + std::to_string(values.size()));
  std::size_t v = 0;
  for (int32_t j = 0; j < g.cols; ++j) {
    const int32_t first = !mirrored ? 0 : symmetry == "skew-symmetric" ? j + 1 : j;
    for (int32_t i = first; i < g.rows; ++i, v += parts) place(i, j, cell_at(&values[v], values[v].line));
  }
  return g;
}

bool looks_like_mtx(const std::string& path, std::string_view text) {
  const bool named = path.size() > 4 && lower_case(path.substr(path.size() - 4)) == ".mtx";
  return named || lower_case(text.substr(0, 14)) == "%%matrixmarket";
}

// ---- numbers ---------------------------------------------------------------

template <class R> R parse_real(std::string_view s) {
  const std::string text(s);
  if (text.empty()) throw Bad("an empty value is not a number");
  errno = 0;
  char* end = nullptr;
  R v;
  if constexpr (std::is_same_v<R, float>) v = std::strtof(text.c_str(), &end);
  else v = std::strtod(text.c_str(), &end);
  if (end != text.c_str() + text.size() || std::isspace(static_cast<unsigned char>(text[0])))
    throw Bad(quoted(s) + " is not a number");
  if (errno == ERANGE && std::isinf(v))
    throw Bad(quoted(s) + " is out of range for " +
              (std::is_same_v<R, float> ? "float32" : "float64"));
  return v;
}

int32_t parse_int(std::string_view s) {
  int64_t v = 0;
  const char* first = s.data();
  if (!s.empty() && s[0] == '+') ++first;
  auto [p, ec] = std::from_chars(first, s.data() + s.size(), v);
  if (s.empty() || ec != std::errc() || p != s.data() + s.size())
    throw Bad(quoted(s) + " is not an integer");
  if (v < INT32_MIN || v > INT32_MAX) throw Bad(quoted(s) + " is out of range for int32");
  return static_cast<int32_t>(v);
}

// "1.5-2i" -> "1.5", "-2"; "3i" -> "", "3"; "i" -> "", "1". False when the
// literal has no imaginary part.
bool split_complex(std::string_view s, std::string_view* re, std::string_view* im) {
  if (s.size() < 1 || s.back() != 'i') return false;
  const std::string_view body = s.substr(0, s.size() - 1);
  // The last sign that does not belong to an exponent starts the imaginary part.
  std::size_t split = 0;
  for (std::size_t k = body.size(); k-- > 1;) {
    if ((body[k] == '+' || body[k] == '-') && body[k - 1] != 'e' && body[k - 1] != 'E') {
      split = k;
      break;
    }
  }
  *re = body.substr(0, split);
  *im = body.substr(split);
  if (im->empty() || *im == "+") *im = "1";
  else if (*im == "-") *im = "-1";
  return true;
}

template <class R> std::complex<R> parse_parts(const Cell& c) {
  std::complex<R> v{};
  if (c.apart) {
    v = {parse_real<R>(c.text), c.imag.empty() ? R(0) : parse_real<R>(c.imag)};
  } else if (!c.text.empty()) {
    std::string_view re, im;
    if (split_complex(c.text, &re, &im))
      v = {re.empty() ? R(0) : parse_real<R>(re), parse_real<R>(im)};
    else
      v = {parse_real<R>(c.text), R(0)};
  }
  if (c.negate) v = -v;
  if (c.conjugate) v = std::conj(v);
  return v;
}

// A real argument takes a complex literal only when its imaginary part is 0.
template <class R> void store_real(std::complex<R> v, const Cell& c, Elem elem, void* out) {
  if (v.imag() != 0 || std::isnan(v.imag()))
    throw Bad(quoted(c.text) + " is complex, but the argument holds " + elem_name(elem) + " values");
  const R re = v.real();
  std::memcpy(out, &re, sizeof re);
}

void parse_cell(const Cell& c, Elem elem, void* out) {
  switch (elem) {
    case Elem::I32: {
      int32_t v = 0;
      if (!c.text.empty()) {
        if (c.apart && !c.imag.empty() && parse_real<double>(c.imag) != 0)
          throw Bad("a complex value where int32 values are expected");
        v = parse_int(c.text);
      }
      if (c.negate) v = -v;
      std::memcpy(out, &v, sizeof v);
      return;
    }
    case Elem::F32:
      store_real(parse_parts<float>(c), c, elem, out);
      return;
    case Elem::F64:
      store_real(parse_parts<double>(c), c, elem, out);
      return;
    case Elem::C64: {
      const auto v = parse_parts<float>(c);
      std::memcpy(out, &v, sizeof v);
      return;
    }
    case Elem::C128: {
      const auto v = parse_parts<double>(c);
      std::memcpy(out, &v, sizeof v);
      return;
    }
  }
}

// ---- printing --------------------------------------------------------------

template <class R> std::string format_real(R v, int digits) {
  // One spelling for every NaN: the sign and payload of a NaN carry nothing
  // a reader of the output needs, and "-nan" beside "nan" looks like two
  // different results.
  if (std::isnan(v)) return "nan";
  char buf[64];
  auto r = digits > 0 ? std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general, digits)
                      : std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general);
  return std::string(buf, r.ptr);
}

template <class R> std::string format_complex(std::complex<R> v, int digits) {
  std::string s = format_real(v.real(), digits);
  s += std::signbit(v.imag()) && !std::isnan(v.imag()) ? '-' : '+';
  s += format_real(std::fabs(v.imag()), digits);
  s += 'i';
  return s;
}

}  // namespace

std::string lower_case(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}



Grid read_grid(const std::string& arg, TextStore& store, bool* stdin_used) {
  if (!arg.empty() && arg[0] == '[') {
    const std::size_t close = arg.find_last_not_of(" \t\r\n");
    if (arg[close] != ']') throw Bad("inline value " + quoted(arg) + " has no closing ']'");
    if (arg.find_first_of("[]", 1) != close)
      throw Bad("inline value " + quoted(arg) + " has a bracket inside; rows are separated by ';'");
    store.push_back(arg.substr(1, close - 1));
    return parse_rows(store.back(), "inline value", false);
  }
  std::string content, error, where;
  if (arg == "-") {
    if (*stdin_used) throw Bad("standard input ('-') can feed only one argument");
    *stdin_used = true;
    if (!os::read_stdin(&content, &error)) throw Bad(error);
    where = "standard input";
  } else {
    if (!os::read_file(arg, &content, &error)) {
      std::string hint;
      if (!arg.empty() && (std::isdigit(static_cast<unsigned char>(arg[0])) || arg[0] == '-' || arg[0] == '+' ||
                           arg[0] == '.'))
        hint = " (inline values go in brackets: '[1 2; 3 4]')";
      throw Bad("cannot read file " + quoted(arg) + ": " + error + hint);
    }
    where = "file " + quoted(arg);
  }
  store.push_back(std::move(content));
  const std::string_view text = store.back();
  if (looks_like_mtx(arg, text)) return parse_mtx(text, where);
  return parse_rows(text, where, true);
}

void convert(const Grid& grid, Elem elem, void* out) {
  const std::size_t size = element_size(elem);
  auto* bytes = static_cast<char*>(out);
  for (std::size_t k = 0; k < grid.cells.size(); ++k) {
    const Cell& c = grid.cells[k];
    try {
      parse_cell(c, elem, bytes + k * size);
    } catch (const Bad& e) {
      throw Bad(grid.where + (grid.line_numbers ? " line " : " row ") + std::to_string(c.line) + ": " +
                e.what());
    }
  }
}

void parse_scalar(std::string_view text, Elem elem, void* out) {
  Cell c;
  c.text = text;
  if (text.empty()) throw Bad("an empty value is not a number");
  parse_cell(c, elem, out);
}

std::string format_element(Elem elem, const void* data, std::size_t index, int digits) {
  const char* p = static_cast<const char*>(data) + index * element_size(elem);
  switch (elem) {
    case Elem::I32: {
      int32_t v;
      std::memcpy(&v, p, sizeof v);
      return std::to_string(v);
    }
    case Elem::F32: {
      float v;
      std::memcpy(&v, p, sizeof v);
      return format_real(v, digits);
    }
    case Elem::F64: {
      double v;
      std::memcpy(&v, p, sizeof v);
      return format_real(v, digits);
    }
    case Elem::C64: {
      std::complex<float> v;
      std::memcpy(&v, p, sizeof v);
      return format_complex(v, digits);
    }
    case Elem::C128: {
      std::complex<double> v;
      std::memcpy(&v, p, sizeof v);
      return format_complex(v, digits);
    }
  }
  return "?";
}

std::string format_rows(const View& v, int digits, std::string_view indent) {
  const bool vector = v.shape == arg::Shape::Vector;
  const int32_t rows = vector ? (v.rows > 0 ? 1 : 0) : v.rows;
  const int32_t cols = vector ? v.rows : v.cols;
  if (rows <= 0 || cols <= 0) return "";
  std::vector<std::string> text(static_cast<std::size_t>(rows) * cols);
  std::vector<std::size_t> width(static_cast<std::size_t>(cols), 0);
  for (int32_t i = 0; i < rows; ++i)
    for (int32_t j = 0; j < cols; ++j) {
      auto& t = text[static_cast<std::size_t>(i) * cols + j];
      t = format_element(v.elem, v.data, static_cast<std::size_t>(i) * cols + j, digits);
      if (!vector) width[j] = std::max(width[j], t.size());
    }
  std::string out;
  for (int32_t i = 0; i < rows; ++i) {
    out += indent;
    for (int32_t j = 0; j < cols; ++j) {
      const auto& t = text[static_cast<std::size_t>(i) * cols + j];
      if (j > 0) out += "  ";
      out.append(width[j] > t.size() ? width[j] - t.size() : 0, ' ');
      out += t;
    }
    out += '\n';
  }
  return out;
}

std::string describe(std::string_view name, const View& v) {
  std::string s(name);
  s += ": ";
  s += elem_name(v.elem);
  if (v.shape == arg::Shape::Vector)
    s += " vector, length " + std::to_string(v.rows);
  else
    s += " matrix, " + std::to_string(v.rows) + " x " + std::to_string(v.cols);
  return s;
}

void write_file(const std::string& path, const View& v, int digits) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) throw Bad("cannot write " + quoted(path) + ": " + std::strerror(errno));
  const bool vector = v.shape == arg::Shape::Vector;
  const int32_t rows = v.rows;
  const int32_t cols = vector ? 1 : v.cols;
  if (looks_like_mtx(path, "")) {
    const bool complex = v.elem == Elem::C64 || v.elem == Elem::C128;
    out << "%%MatrixMarket matrix array "
        << (complex ? "complex" : v.elem == Elem::I32 ? "integer" : "real") << " general\n"
        << rows << ' ' << cols << '\n';
    for (int32_t j = 0; j < cols; ++j)
      for (int32_t i = 0; i < rows; ++i) {
        std::string t = format_element(v.elem, v.data, static_cast<std::size_t>(i) * cols + j, digits);
        if (complex) {
          // "re+imi" becomes "re im": the sign of the imaginary part stays.
          std::string_view re, im;
          split_complex(t, &re, &im);
          t = std::string(re) + ' ' + std::string(im.size() > 0 && im[0] == '+' ? im.substr(1) : im);
        }
        out << t << '\n';
      }
  } else {
    out << format_rows(v, digits, "");
  }
  if (!out) throw Bad("cannot write " + quoted(path) + ": " + std::strerror(errno));
}

}  // namespace tarnx::cli
