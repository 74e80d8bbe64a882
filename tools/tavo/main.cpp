// tavo: the command-line face of TavCommon. Output for machines is JSON on standard output; messages
// for people go to standard error and start with "tavo: ".
#include <exception>
#include <iostream>

#include <CLI/CLI.hpp>

#include "exit_status.hpp"
#include "feedback_commands.hpp"
#include "history_commands.hpp"
#include "library_commands.hpp"
#include "lut_command.hpp"
#include "gif_commands.hpp"
#include "nqs_commands.hpp"
#include "obs_commands.hpp"
#include "play_command.hpp"
#include "probe_command.hpp"
#include "profile_commands.hpp"
#include "record_command.hpp"
#include "scene_commands.hpp"
#include "sync_check_command.hpp"
#include "specs_command.hpp"

int main(int argc, char** argv) {
  using namespace tav::tool;
  CLI::App app{"tavo: scene documents and more, from the Tavo Studio core library"};
  app.name("tavo");
  app.set_version_flag("--version", std::string("tavo ") + TAV_VERSION);
  app.require_subcommand(1);

  int status = kSuccess;
  addSceneCommands(app, status);
  addObsCommands(app, status);
  addProfileCommands(app, status);
  addProbeCommand(app, status);
  addSyncCheckCommand(app, status);
  addSpecsCommand(app, status);
  addRecordCommand(app, status);
  addLibraryCommands(app, status);
  addHistoryCommands(app, status);
  addLutCommand(app, status);
  addGifCommands(app, status);
  addNqsCommands(app, status);
  addFeedbackCommands(app, status);
  addPlayCommand(app, status);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::cerr << "tavo: " << e.what() << '\n' << "Run 'tavo --help' for usage.\n";
    return kUsage;
  } catch (const std::exception& e) {
    std::cerr << "tavo: internal error: " << e.what() << '\n';
    return kSoftware;
  }
  return status;
}
