#pragma once

class QWidget;

/// Opens the reference database that the settings name. False when there is none, or when it cannot
/// be opened, which is told over the parent.
bool openFriendDatabase(QWidget *parent);
