#include "cli/call.hpp"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>

#include "cli/help.hpp"
#include "cli/os.hpp"
#include "cli/status_text.hpp"
#include "frame/status.hpp"
#include "zwrt.h"

namespace tarnx::cli {
namespace {

using arg::Elem;
using arg::Role;
using arg::Shape;

std::string input_names(const ExportInfo& info) {
  std::string names;
  for (const ExportArg& a : info.args)
    if (is_input(a.kind.role)) names += (names.empty() ? "" : " ") + std::string(a.name);
  return names;
}

}  // namespace

std::string library_path(const std::string& option) {
  if (!option.empty()) return option;
  std::string from_env = os::env("TARNX_LIB");
  if (!from_env.empty()) return from_env;
  // The build tree's library beside the program (or in lib/ beside bin/),
  // else the installed library's folder.
  const std::filesystem::path here(os::executable_dir());
  const std::filesystem::path built = (here / os::kDefaultLibrary).lexically_normal();
#ifdef TARNX_INSTALLED_MODULES
  const std::filesystem::path installed = (here / TARNX_INSTALLED_MODULES / "TARNX_LINALG.so").lexically_normal();
  std::error_code ec;
  if (!std::filesystem::exists(built, ec) && std::filesystem::exists(installed, ec)) return installed.string();
#endif
  return built.string();
}

Library load_library(const std::string& path) {
  std::string error;
  void* module = os::open_library(path, &error);
  if (module == nullptr) throw Bad("cannot load the library: " + error);
  // Any shared object loads; one that has none of the table's exports is not
  // this library, whatever its name, and nothing later should read it as an
  // older one.
  for (const ExportInfo& e : export_table())
    if (os::find_symbol(module, std::string(e.name).c_str()) != nullptr) return Library{path, module};
  throw Bad(path + " is not TARNX_LINALG: it has none of its exports");
}

const ExportInfo& lookup_export(const std::string& name) {
  if (const ExportInfo* e = find_export(name)) return *e;
  const std::string key = lower_case(name);
  for (const ExportInfo& e : export_table())
    if (lower_case(e.name) == key)
      throw Bad("unknown export '" + name + "'; did you mean '" + std::string(e.name) + "'?");
  throw Bad("unknown export '" + name + "'; 'tarnx list' shows them all");
}

std::string status_line(int32_t status, const std::vector<std::string>& null_scratch) {
  std::string line = "status " + std::to_string(status) + ": " + status_meaning(status);
  // A null workspace is the one cause of -20999 a caller makes on purpose;
  // say so rather than leave it looking like a fault in the library.
  if (status == InternalError && !null_scratch.empty()) {
    line += ": scratch handle";
    line += null_scratch.size() == 1 ? " " : "s ";
    for (std::size_t i = 0; i < null_scratch.size(); ++i) line += (i > 0 ? ", " : "") + null_scratch[i];
    line += null_scratch.size() == 1 ? " was null" : " were null";
  }
  return line + "\n";
}

Call::Call(const ExportInfo& info, void* function)
    : info_(info), function_(function), args_(info.args.size()) {}

Call::~Call() {
  for (ZwArrayHandle h : owned_) AZDisposeHandle(reinterpret_cast<void**>(h));
}

ZwArrayHandle Call::make_handle(std::size_t bytes) {
  auto h = reinterpret_cast<ZwArrayHandle>(AZNewHandle(std::max<std::size_t>(bytes, 8)));
  if (h == nullptr) throw Bad("out of memory for a " + std::to_string(bytes) + "-byte array");
  owned_.push_back(h);
  return h;
}

void Call::bind(const std::vector<std::string>& words, TextStore& store, bool* stdin_used) {
  const std::size_t n = info_.args.size();
  std::vector<const std::string*> given(n, nullptr);
  std::vector<std::string> named_values;
  named_values.reserve(words.size() + n);  // `given` points into it
  std::vector<const std::string*> positional;
  std::vector<bool> null_scratch(n, false);

  // NAME=VALUE only when NAME is one of this export's arguments, so that a
  // file path holding '=' still reads as a path.
  for (const std::string& w : words) {
    const std::size_t eq = w.find('=');
    std::size_t index = n;
    if (eq != std::string::npos && eq > 0)
      for (std::size_t i = 0; i < n; ++i)
        if (info_.args[i].name == std::string_view(w).substr(0, eq)) index = i;
    if (index == n) {
      positional.push_back(&w);
      continue;
    }
    const ExportArg& a = info_.args[index];
    // A missing workspace is a case worth reproducing; an output handle
    // is always there, as the host always passes one.
    if (is_scratch(a.kind.role) && std::string_view(w).substr(eq + 1) == "null") {
      null_scratch[index] = true;
      null_scratch_.emplace_back(a.name);
      continue;
    }
    if (a.kind.role == Role::Out || is_scratch(a.kind.role))
      throw Bad(std::string(info_.name) + ": " + std::string(a.name) + " is " +
                (a.kind.role == Role::Out ? "an output" : "a scratch handle") +
                " and is made for you; only inputs and scalar results take a value" +
                (is_scratch(a.kind.role) ? " (or NAME=null for a missing workspace)" : ""));
    if (given[index] != nullptr)
      throw Bad(std::string(info_.name) + ": " + std::string(a.name) + " is given twice");
    named_values.push_back(w.substr(eq + 1));
    given[index] = &named_values.back();
  }

  std::size_t wanted = 0;
  for (std::size_t i = 0; i < n; ++i)
    if (is_input(info_.args[i].kind.role) && given[i] == nullptr) ++wanted;
  // Trailing selectors left out take their usual value (matrixType 0, ...).
  for (std::size_t i = n; i-- > 0 && positional.size() < wanted;) {
    if (!is_input(info_.args[i].kind.role) || given[i] != nullptr) continue;
    const auto fallback = default_value(info_.name, info_.args[i].name);
    if (!fallback) break;
    named_values.emplace_back(*fallback);
    given[i] = &named_values.back();
    --wanted;
  }
  if (positional.size() != wanted) {
    std::size_t inputs = 0;
    for (const ExportArg& a : info_.args) inputs += is_input(a.kind.role);
    throw Bad(std::string(info_.name) + " takes " + std::to_string(inputs) + " input" +
              (inputs == 1 ? "" : "s") + " (" + input_names(info_) + "), got " +
              std::to_string(positional.size() + (inputs - wanted)));
  }
  std::size_t next = 0;
  for (std::size_t i = 0; i < n; ++i)
    if (is_input(info_.args[i].kind.role) && given[i] == nullptr) given[i] = positional[next++];

  for (std::size_t i = 0; i < n; ++i) {
    const ExportArg& a = info_.args[i];
    const arg::Desc k = a.kind;
    Arg& slot = args_[i];
    try {
      switch (k.role) {
        case Role::Out:
          slot.handle = make_handle(8);  // 0 x 0
          break;
        case Role::Scratch:
        case Role::PathScratch:
          if (!null_scratch[i]) slot.handle = make_handle(8);  // length 0
          break;
        case Role::Value:
        case Role::Ref:
        case Role::Result:
        case Role::Update:
          if (given[i] != nullptr) parse_scalar(*given[i], k.elem, &slot.value);
          break;
        case Role::In:
        case Role::InOut: {
          const Grid g = read_grid(*given[i], store, stdin_used);
          const std::size_t count = static_cast<std::size_t>(g.rows) * static_cast<std::size_t>(g.cols);
          if (k.shape == Shape::Vector) {
            if (g.rows > 1 && g.cols > 1)
              throw Bad("expects a vector, got a " + std::to_string(g.rows) + " x " +
                        std::to_string(g.cols) + " matrix from " + g.where);
            slot.handle = make_handle(vector_offset(k.elem) + count * element_size(k.elem));
            reinterpret_cast<int32_t*>(*slot.handle)[0] = static_cast<int32_t>(count);
            convert(g, k.elem, reinterpret_cast<char*>(*slot.handle) + vector_offset(k.elem));
          } else {
            slot.handle = make_handle(8 + count * element_size(k.elem));
            reinterpret_cast<int32_t*>(*slot.handle)[0] = g.rows;
            reinterpret_cast<int32_t*>(*slot.handle)[1] = g.cols;
            convert(g, k.elem, reinterpret_cast<char*>(*slot.handle) + layout::kMatrixOffset);
          }
          break;
        }
      }
    } catch (const Bad& e) {
      throw Bad(std::string(info_.name) + " argument " + std::string(a.name) + ": " + e.what());
    }
  }
}

void Call::route_outputs(const OutputFiles& files) {
  for (const auto& [name, path] : files) {
    std::size_t target = args_.size();
    for (std::size_t i = 0; i < args_.size() && target == args_.size(); ++i) {
      const Role r = info_.args[i].kind.role;
      const bool array_output = r == Role::Out || r == Role::InOut;
      if (name.empty() ? array_output && args_[i].file.empty() : info_.args[i].name == name) {
        if (!array_output)
          throw Bad("-o " + name + "=...: " + name + " is not an array output of " + std::string(info_.name));
        target = i;
      }
    }
    if (target < args_.size() && !args_[target].file.empty())
      throw Bad("-o: output " + std::string(info_.args[target].name) + " is given two files");
    if (target == args_.size())
      throw Bad(name.empty() ? "-o " + path + ": " + std::string(info_.name) + " has no array output left"
                             : "-o " + name + "=...: " + std::string(info_.name) + " has no output " + name);
    args_[target].file = path;
  }
}

int32_t Call::run() {
  std::vector<ArgSlot> slots(args_.size());
  for (std::size_t i = 0; i < args_.size(); ++i) {
    switch (info_.args[i].kind.role) {
      case Role::Value: slots[i] = args_[i].value; break;
      case Role::Ref:
      case Role::Result:
      case Role::Update: slots[i].pointer = &args_[i].value; break;
      default: slots[i].handle = args_[i].handle; break;
    }
  }
  // The table's caller casts the address to the export's exact prototype,
  // so scalars by value travel as a compiled host passes them.
  return info_.invoke(function_, slots.data());
}

View Call::view(std::size_t i) const {
  const arg::Desc k = info_.args[i].kind;
  const auto* block = reinterpret_cast<const char*>(*args_[i].handle);
  const auto* dims = reinterpret_cast<const int32_t*>(block);
  if (k.shape == Shape::Vector) return View{k.elem, k.shape, dims[0], 1, block + vector_offset(k.elem)};
  return View{k.elem, k.shape, dims[0], dims[1], block + layout::kMatrixOffset};
}

std::string Call::show(std::size_t i, const Format& f) const {
  const ExportArg& a = info_.args[i];
  if (a.kind.shape == Shape::Scalar)
    return f.indent + std::string(a.name) + ": " + elem_name(a.kind.elem) + " = " +
           format_element(a.kind.elem, &args_[i].value, 0, f.digits) + "\n";
  const View v = view(i);
  return f.indent + describe(a.name, v) + "\n" + format_rows(v, f.digits, f.indent + "  ");
}

std::string Call::show_inputs(const Format& f, const std::vector<std::string>& hidden) const {
  std::string out;
  for (std::size_t i = 0; i < args_.size(); ++i)
    if (is_input(info_.args[i].kind.role) &&
        std::find(hidden.begin(), hidden.end(), info_.args[i].name) == hidden.end())
      out += show(i, f);
  return out;
}

std::string Call::show_outputs(const Format& f) const {
  std::string out;
  for (std::size_t i = 0; i < args_.size(); ++i) {
    if (!is_output(info_.args[i].kind.role)) continue;
    if (!args_[i].file.empty()) {
      const View v = view(i);
      write_file(args_[i].file, v, f.digits);
      out += f.indent + describe(info_.args[i].name, v) + " -> " + args_[i].file + "\n";
    } else {
      out += show(i, f);
    }
  }
  return out;
}

}  // namespace tarnx::cli
