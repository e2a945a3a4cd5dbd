// The conflict dialog a host shows: for each item the local facts beside the online ones, and
// a choice per item.
#pragma once

#include <QByteArray>
#include <QDialog>
#include <QString>
#include <vector>

#include "tools/vantor-dialog/conflict_xml.h"

class QComboBox;

namespace vantor_dialog {

// Widgets a caller may look up by object name: "error" (hidden when the text was read), one
// QComboBox per item, named "choice<id>", and the OK button, "ok".
class conflict_dialog : public QDialog {
 public:
  // `folder` holds one folder per conflict id with the agent's online.xml; a separator is
  // added when it lacks one.
  conflict_dialog(std::vector<int> conflicts, std::vector<int> deletes, QString folder,
                  QWidget* parent = nullptr);

  // The answers as ChoicesJson gives them.
  QByteArray choices_json() const;

 private:
  std::vector<conflict_item> items_;
  std::vector<QComboBox*> choices_;
};

}  // namespace vantor_dialog
