#pragma once

/// Gives the whole program the font size of the settings, or the system's own.
void applyInterfaceFont();
