// A parameter sweep over the processes of a cluster. The first process, the head, hands out sets of
// parameters as the others ask for them, so that quick machines get more; each of the others has an
// interpreter of its own and runs the script on one set after the other. Results and errors come
// home in any order and are printed in the order of the sets. A script that fails costs its set.
//
//   mpirun -n 4 cluster ROOT SCRIPT SETS.csv NAME...
//
//   ROOT      the installation root      SETS.csv  parameters, a set in each line
//   SCRIPT    runs on each set           NAME      variables of the script that are the result
#include <examples/cluster/Message.h>
#include <examples/cluster/Sets.h>
#include <mpi.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <utility>

namespace {

constexpr int kHead = 0;

struct Task {
  zrString root;
  zrString script;
  zrString parameters;  // their names
  zrStlVector<zrString> results;
};

zrString lastAlert;

bool KeepAlert(const zrString& text) {
  lastAlert = text;
  return true;
}

// One process's interpreter. Scripts that import mpi4py share this program's MPI: it is up before
// they run, and mpi4py is told not to bring it up, or down, itself.
class Worker {
 public:
  explicit Worker(const Task& task) : task_(task) {
    zrPythonInterpCreator creator(0, nullptr, task.root, nullptr, "");
    python_.reset(static_cast<zrInterpPython*>(creator.Create()));
    python_->SetAlert(&KeepAlert);
    python_->EvalScript(
        "import sys\n"
        "try:\n"
        "    import mpi4py\n"
        "    mpi4py.rc.initialize = mpi4py.rc.finalize = False\n"
        "except ImportError: pass\n"
        "sys.stderr = None  # errors go home to the head\n",
        "");
  }

  // kResult with the values, or kError with what happened.
  std::pair<Kind, zrString> Run(const zrString& set) {
    zrStlMap<zrString, zrVariant> variables = Variables(task_.parameters, set);
    lastAlert = "no runtime below " + task_.root;
    if (!python_->EvalFile(task_.script, variables, nullptr)) {
      const zrPythonError error = python_->LastError();
      if (error.IsEmpty()) return {kError, lastAlert};
      return {kError, error.kind + ": " + error.message};
    }
    zrString line;
    for (const zrString& name : task_.results) line += "," + variables[name].GetString();
    return {kResult, line};
  }

 private:
  const Task& task_;
  std::unique_ptr<zrInterpPython> python_;
};

// What came home, printed as soon as all before it is there.
class Report {
 public:
  explicit Report(const Sets& sets) : sets_(sets), lines_(sets.rows.size()) {}

  void Add(int set, Kind kind, const zrString& text) {
    ++(kind == kResult ? good_ : bad_);
    lines_[static_cast<size_t>(set)] = kind == kResult ? text : ",# " + text;
    for (; next_ < lines_.size() && !lines_[next_].empty(); ++next_) {
      std::cout << sets_.rows[next_] << lines_[next_] << std::endl;
    }
    std::fprintf(stderr, "\r%zu of %zu sets, %zu failed", good_ + bad_, lines_.size(), bad_);
    if (good_ + bad_ == lines_.size()) std::fputc('\n', stderr);
  }
  bool AllGood() const { return bad_ == 0; }

 private:
  const Sets& sets_;
  zrStlVector<zrString> lines_;  // empty: not there yet
  size_t next_ = 0;              // the first that is not printed
  size_t good_ = 0;
  size_t bad_ = 0;
};

void HandOut(const Sets& sets, Report& report, int workers) {
  int next = 0;
  while (workers > 0) {
    const Message message = Receive(-1);
    if (message.kind != kReady) report.Add(message.set, message.kind, message.text);
    if (static_cast<size_t>(next) < sets.rows.size()) {
      Send(message.rank, kSet, next, sets.rows[static_cast<size_t>(next)]);
      ++next;
    } else {
      Send(message.rank, kEnd, -1, "");
      --workers;
    }
  }
}

void Work(const Task& task) {
  Worker worker(task);
  Send(kHead, kReady, -1, "");
  for (Message message = Receive(kHead); message.kind == kSet; message = Receive(kHead)) {
    const std::pair<Kind, zrString> answer = worker.Run(message.text);
    Send(kHead, answer.first, message.set, answer.second);
  }
}

int Run(int argc, char** argv, int rank, int processes) {
  Sets sets;
  if (argc < 5 || !ReadSets(argv[3], sets)) {
    if (rank == kHead) std::cerr << "usage: cluster ROOT SCRIPT SETS.csv NAME...\n";
    return 2;
  }
  const Task task{argv[1], argv[2], sets.names, {argv + 4, argv + argc}};
  if (rank != kHead) return Work(task), 0;

  std::cout << sets.names;
  for (const zrString& name : task.results) std::cout << "," << name;
  std::cout << std::endl;
  Report report(sets);
  if (processes > 1) {
    HandOut(sets, report, processes - 1);
  } else {
    Worker alone(task);
    for (size_t set = 0; set < sets.rows.size(); ++set) {
      const std::pair<Kind, zrString> answer = alone.Run(sets.rows[set]);
      report.Add(static_cast<int>(set), answer.first, answer.second);
    }
  }
  return report.AllGood() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  int provided = 0;
  int rank = 0;
  int processes = 0;
  MPI_Init_thread(&argc, &argv, MPI_THREAD_MULTIPLE, &provided);
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  MPI_Comm_size(MPI_COMM_WORLD, &processes);
  const int status = Run(argc, argv, rank, processes);  // the runtime is stopped behind it
  MPI_Finalize();
  return status;
}
