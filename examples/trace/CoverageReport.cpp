// Executable lines are those that the line tables of the file's code objects name.
#include <examples/trace/PyHandle.h>
// PyHandle.h brings Python.h, which comes first.
#include <examples/trace/CoverageReport.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace {

// Leaves the names lines (numbers), length (of the file in lines) and functions (tuples of first
// line, name and full name).
// Comprehensions and class bodies are no functions, though the runtime calls them.
constexpr const char kRead[] = R"(
import dis, types

lines, functions = set(), []

def line_table(code):
    if hasattr(code, 'co_lines'):
        return (line for _, _, line in code.co_lines())
    return (line for _, line in dis.findlinestarts(code))

def walk(code, prefix):
    lines.update(line for line in line_table(code) if line)
    for inner in code.co_consts:
        if isinstance(inner, types.CodeType):
            name = prefix + inner.co_name
            is_function = inner.co_flags & 1
            if is_function and (inner.co_name[0] != '<' or inner.co_name == '<lambda>'):
                functions.append((inner.co_firstlineno, inner.co_name, name))
            walk(inner, name + ('.<locals>.' if is_function else '.'))

with open(path, 'rb') as file:
    source = file.read()
walk(compile(source, path, 'exec', 0, True), '')
length = len(source.splitlines())
)";

struct Function {
  int line;
  std::string name;
  std::string fullName;
};

struct Source {
  std::set<int> lines;
  long length = 0;
  std::vector<Function> functions;
};

// Lock held. Leaves no error pending. A file that does not compile has neither lines nor functions.
Source ReadSource(const std::string& path) {
  Source source;
  const PyHandle names(PyDict_New());
  const PyHandle pathText(PyUnicode_FromString(path.c_str()));
  if (!names || !pathText || PyDict_SetItemString(names.get(), "path", pathText.get()) != 0 ||
      PyDict_SetItemString(names.get(), "__builtins__", PyEval_GetBuiltins()) != 0 ||
      !PyHandle(PyRun_String(kRead, Py_file_input, names.get(), names.get()))) {
    PyErr_Clear();
    return source;
  }
  const PyHandle lines(PySequence_List(PyDict_GetItemString(names.get(), "lines")));
  for (Py_ssize_t i = 0; lines && i < PyList_GET_SIZE(lines.get()); ++i) {
    source.lines.insert(static_cast<int>(PyLong_AsLong(PyList_GET_ITEM(lines.get(), i))));
  }
  source.length = PyLong_AsLong(PyDict_GetItemString(names.get(), "length"));
  PyObject* const functions = PyDict_GetItemString(names.get(), "functions");
  for (Py_ssize_t i = 0; i < PyList_GET_SIZE(functions); ++i) {
    int line = 0;
    const char* name = nullptr;
    const char* fullName = nullptr;
    if (PyArg_ParseTuple(PyList_GET_ITEM(functions, i), "iss", &line, &name, &fullName)) {
      source.functions.push_back({line, name, fullName});
    }
  }
  PyErr_Clear();
  return source;
}

// The readers of the form take one function for each name.
void MakeNamesUnique(std::vector<Function>& functions) {
  std::set<std::string> taken;
  for (Function& function : functions) {
    const std::string plain = function.fullName;
    for (int n = 0; !taken.insert(function.fullName).second; ++n) {
      function.fullName = plain + ":" + std::to_string(function.line);
      if (n != 0) function.fullName += ":" + std::to_string(n);
    }
  }
}

}  // namespace

void WriteFileCoverage(std::ostream& out, const std::string& path, const FileCounts& counts) {
  Source source;
  {
    const PyLock lock;
    source = ReadSource(path);
  }
  std::stable_sort(source.functions.begin(), source.functions.end(),
                   [](const Function& a, const Function& b) { return a.line < b.line; });
  MakeNamesUnique(source.functions);

  out << "TN:\nSF:" << path << '\n';
  for (const Function& function : source.functions) {
    out << "FN:" << function.line << ',' << function.fullName << '\n';
  }
  std::map<std::pair<int, std::string>, long> callsOf;
  for (const auto& [code, count] : counts.calls) callsOf[{code->firstLine, code->name}] += count;
  size_t hit = 0;
  for (const Function& function : source.functions) {
    const auto found = callsOf.find({function.line, function.name});
    const long calls = found == callsOf.end() ? 0 : found->second;
    out << "FNDA:" << calls << ',' << function.fullName << '\n';
    if (calls != 0) ++hit;
  }
  out << "FNF:" << source.functions.size() << "\nFNH:" << hit << '\n';

  // Code can claim lines that the file does not have, and the readers of the form object.
  std::map<int, long> lines;
  const long last = std::min(source.length, static_cast<long>(counts.lines.size()) - 1);
  for (int line = 1; line <= last; ++line) {
    const long count = counts.lines[static_cast<size_t>(line)];
    if (count != 0) lines.emplace(line, count);
  }
  const size_t linesHit = lines.size();
  for (const int line : source.lines) lines.emplace(line, 0);
  for (const auto& [line, count] : lines) out << "DA:" << line << ',' << count << '\n';
  out << "LF:" << lines.size() << "\nLH:" << linesHit << "\nend_of_record\n";
}
