// The preference screen as the host asks for it: both album trees of the sync catalog.
#include <QString>
#include <QXmlStreamReader>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "tools/vantor/commands.h"
#include "tools/vantor/error_names.h"
#include "vantor/vantor.h"

namespace vantor_cli {
namespace {

std::string attribute(const QXmlStreamReader& reader, const char* name) {
  return reader.attributes().value(QLatin1String(name)).toString().toStdString();
}

// One line per <tag>, indented by nesting, with the details that `describe` gives; what the
// library wrote is well-formed, so a parse error is a fault worth reporting.
template <class Describe>
void print_tree(const std::string& xml, const char* heading, Describe describe) {
  std::cout << heading << "\n";
  QXmlStreamReader reader(QString::fromStdString(xml));
  int depth = 0;
  while (!reader.atEnd()) {
    reader.readNext();
    if (reader.isStartElement() && reader.name() == QLatin1String("tag")) {
      ++depth;
      std::cout << std::string(static_cast<size_t>(depth) * 2, ' ') << attribute(reader, "label")
                << "  (" << describe(reader) << ")\n";
    } else if (reader.isEndElement() && reader.name() == QLatin1String("tag")) {
      --depth;
    } else if (reader.isStartElement() && reader.name() == QLatin1String("KSVStorage")) {
      std::cout << "storage used: " << attribute(reader, "storageused") << " of "
                << attribute(reader, "quota") << "\n";
    }
  }
  if (reader.hasError()) {
    throw std::runtime_error("the screen text is not well-formed: " +
                             reader.errorString().toStdString());
  }
}

struct screen_args {
  std::string folder;
  bool mark_all = false;
  bool tree = false;
};

int screen(const screen_args& args) {
  std::string local;
  std::string online;
  const VTL::error_code code =
      VTL::GetXMLForSyncPrefs(args.folder, local, online, {}, args.mark_all);
  if (code != VTL::success) {
    std::cerr << "vantor: " << code_name(code) << " (" << static_cast<int>(code) << ")\n";
    return 2;
  }
  std::cout << local << "\n" << online << "\n";
  if (!args.tree) return 0;
  print_tree(local, "local albums", [](const QXmlStreamReader& r) {
    std::string details = attribute(r, "type") + ", id " + attribute(r, "localid");
    if (const std::string id = attribute(r, "onlineid"); !id.empty()) details += ", online " + id;
    return details + ", mark " + attribute(r, "ismarkedforsync");
  });
  print_tree(online, "online albums", [](const QXmlStreamReader& r) {
    std::string details = attribute(r, "type") + ", online " + attribute(r, "onlineid");
    if (const std::string parents = attribute(r, "parents"); !parents.empty()) {
      details += ", parents " + parents;
    }
    return details;
  });
  return 0;
}

}  // namespace

void add_screen_command(CLI::App& app) {
  auto args = std::make_shared<screen_args>();
  CLI::App* command = add_command(
      app, "screen",
      "Prints the preference screen's texts: the local albums, then the online albums.\n"
      "CATALOG_FOLDER must be the sync catalog (or none be set yet), a user signed in and\n"
      "the membership client reachable. A failure prints the library's result, e.g.\n"
      "change_catalog_required (7).",
      [args] { return screen(*args); });
  command->add_option("CATALOG_FOLDER", args->folder, "The catalog's folder.")->required();
  command->add_flag("--mark-all", args->mark_all, "Shows albums never marked as marked.");
  command->add_flag("--tree", args->tree,
                    "Adds both trees as indented lines with their marks and ids.");
}

}  // namespace vantor_cli
