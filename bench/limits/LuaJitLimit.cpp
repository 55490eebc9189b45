// The peer of ExpressionBench: the same as loops of a LuaJIT script, which reads the window through a typed
// pointer. usage: LuaJitLimit RECORDING.wav

#include "bench/limits/Windows.h"

#include <lua.hpp>

using namespace Vexalor;

namespace
{

constexpr const char* SCRIPT = R"(
local abs, exp, log, sqrt, max, min, cos, pi =
    math.abs, math.exp, math.log, math.sqrt, math.max, math.min, math.cos, math.pi
local window = require('ffi').cast('const double*', raw)
local freq, coef = {697, 770, 852, 941, 1209, 1336, 1477, 1633}, {}
for j = 1, 8 do coef[j] = 2 * cos(2 * pi * freq[j] / 8000) end
local function energy(x) local s = 0.0 for i = 0, 199 do s = s + x[i] * x[i] end return s end
local function crossings(x)
  local n = 0
  for i = 1, 199 do if (x[i] >= 0) ~= (x[i - 1] >= 0) then n = n + 1 end end
  return n
end
local function tones(x)
  local m, t = 0.0, 1e-10
  for j = 1, 8 do
    local c, a, b = coef[j], 0.0, 0.0
    for i = 0, 199 do a, b = x[i] + c * a - b, a end
    local g = a * a + b * b - c * a * b
    m = max(m, g) t = t + g
  end
  local r = m / t
  return r > 0.4 and r or 0
end
local function formulas(e, z)
  local v1 = e/200; local v2 = log(v1+0.0000000001); local v3 = z/199; local v4 = v2*0.5+v3
  local v5 = max(v4,-10); local v6 = min(v5,10); local v7 = 1/(1+exp(-v6)); local v8 = v7*v7
  local v9 = v8-v3; local v10 = abs(v9); local v11 = sqrt(v10+1); local v12 = v11*v1+v2
  local v13 = v12>0 and v7 or v3; local v14 = v13*3-1; local v15 = v14*v14; local v16 = v15+v8*v10
  local v17 = v16/(1+v15); local v18 = v17*0.9+v9*0.1; local v19 = max(v18,v17)
  return v19>0.3 and v19 or 0
end
function all() return tones(window) + formulas(energy(window), crossings(window)) end
)";

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    const Bench::Recording recording(in_iArguments == 2 ? in_arguments[1] : "");
    static double window[Bench::WINDOW_LENGTH];
    lua_State* pLua = luaL_newstate();
    luaL_openlibs(pLua);
    lua_pushlightuserdata(pLua, window);
    lua_setglobal(pLua, "raw");
    if (luaL_dostring(pLua, SCRIPT))
    {
        std::puts(lua_tostring(pLua, -1));
        return 2;
    }
    const auto callAll = [&](long in_iIndex)
    {
        std::memcpy(window, recording.getWindow(in_iIndex), sizeof window);
        lua_getglobal(pLua, "all");
        lua_call(pLua, 0, 1);
        const double dResult = lua_tonumber(pLua, -1);
        lua_pop(pLua, 1);
        return dResult;
    };
    Bench::timeWindows(recording, "LuaJIT: all four parts", callAll);
    lua_close(pLua);
    return 0;
}
