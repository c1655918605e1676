// The commands of lmi, one source each. Each adds itself to the command line and gives the exit
// status: 0, or 1 when a file failed, where nothing else is said.
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace lmi {

struct Command {
  CLI::App* Line;  // what its part of the command line says
  std::function<int()> Run;
};

Command AddList(CLI::App& app);
Command AddInfo(CLI::App& app);

/// 3 when there is a warning and no file failed.
Command AddCheck(CLI::App& app);

Command AddExplain(CLI::App& app);
Command AddRead(CLI::App& app);
Command AddExport(CLI::App& app);
Command AddPlot(CLI::App& app);
Command AddStats(CLI::App& app);
Command AddFormats(CLI::App& app);

/// The pages of the manual and the completion of shells, made from the command line itself.
Command AddManual(CLI::App& app);
Command AddCompletion(CLI::App& app);

}  // namespace lmi
