#pragma once

// The option parser as programs use it to declare options and to read their values.
#include <boost/program_options/options_description.hpp>
#include <boost/program_options/positional_options.hpp>
#include <boost/program_options/value_semantic.hpp>
#include <boost/program_options/variables_map.hpp>

namespace Vexalor
{

using boost::program_options::bool_switch;
using boost::program_options::options_description;
using boost::program_options::positional_options_description;
using boost::program_options::value;
using boost::program_options::variables_map;

} // namespace Vexalor
