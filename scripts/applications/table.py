"""The rows, in the order of the table."""
from browsers import Chromium, ChromiumPassword, Firefox, FirefoxPassword
from editors import (Calc, Emacs, FeatherPad, FocusWriter, Geany, Gedit, GnomeTextEditor, Gvim, Kate, Mousepad, Thunderbird,
                     Writer)
from passwords import KeePassXC, Zenity
from terminals import GeanyTerminal, KateTerminal, Kitty, Konsole, Xephyr, Xterm
from viewers import Evince, Mpv, UnknownWindow

APPLICATIONS = (Mousepad, Gedit, GnomeTextEditor, Geany, GeanyTerminal, Kate, KateTerminal, FeatherPad, FocusWriter, Writer,
                Calc, Emacs, Gvim, Xterm, Konsole, Kitty, Xephyr, UnknownWindow, Mpv, Evince, Thunderbird, Zenity, KeePassXC,
                Chromium, ChromiumPassword, Firefox, FirefoxPassword)
