#pragma once

class Table;

/// Pictures up to a WebDAV share and down again against curl on one connection, and how long the
/// interface has to wait meanwhile.
void benchPictures(Table &table);
