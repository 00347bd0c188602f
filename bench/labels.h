#pragma once

class Table;

/// Labels in a PDF file beside another program's, the preview of a long queue, and painted symbols
/// beside another program's; works on the main connection, whose queue it fills.
void benchLabels(Table &table);
