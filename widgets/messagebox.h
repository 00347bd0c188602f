#pragma once

/// Lets the door for message boxes show real ones: modal, titled "Lavkor", the text selectable and
/// shown as it stands unless the request calls it markup.
void installMessageBox();
