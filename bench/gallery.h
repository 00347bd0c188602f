#pragma once

class Table;

/// The pictures of a product out of the caches of thumbnails, until all of them are painted,
/// against decoding and painting the same files bare; works on the main connection.
void benchGallery(Table &table);
