// tavo: the command-line face of TavCommon. Output for machines is JSON on standard output; messages
// for people go to standard error and start with "tavo: ".
#include <exception>
#include <iostream>

#include <CLI/CLI.hpp>

#include "exit_status.hpp"
#include "obs_commands.hpp"
#include "play_command.hpp"
#include "probe_command.hpp"
#include "profile_commands.hpp"
#include "scene_commands.hpp"

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
