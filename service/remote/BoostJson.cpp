// The JSON library, compiled here once: its own binary is no dependency.
#include <boost/json/src.hpp>
