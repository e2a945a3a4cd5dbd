// The two album trees of the preference dialog: filled from the screen's texts, and read back
// as the selection the library saves.
#pragma once

#include <vector>

#include "tools/vantor-dialog/album_xml.h"

class QTreeWidget;

namespace vantor_dialog {

// One check box per album, tri-state for a group with albums in it.
void FillLocalTree(QTreeWidget& tree, const std::vector<local_album>& albums);

// The online albums nested under the group their `parents` names. An album already kept
// locally (a local album has its online id) has no check box: its mark is the local one.
void FillOnlineTree(QTreeWidget& tree, const online_albums& online,
                    const std::vector<local_album>& local);

// Every local album with its mark, then the ticked online albums that are not kept locally,
// inside entries for their groups.
std::vector<selection_entry> SelectionFromTrees(const QTreeWidget& local,
                                                const QTreeWidget& online);

}  // namespace vantor_dialog
