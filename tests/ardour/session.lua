-- Headless Ardour session driver for the host test, run by run.sh through ardour7-lua:
--   session.lua make   <dir> <name> <settings> <programs-file>
--   session.lua export <dir> <name> <settings> <out-dir> <file> <tone-hz> <dry|saved|band-bypassed|auto>
--   session.lua check  <dir> <name> <settings> <programs-file> [label]
-- <settings> holds KEY=VALUE lines written by run.sh (plug-in name, band values, automation).
-- <programs-file> receives the program list as the host sees it, one "index<TAB>name" a line.
-- One export per process: Ardour 7.3's export crashes now and then, so run.sh retries the process.
local mode, dir, name, settings = arg[1], arg[2], arg[3], arg[4]
assert (mode and dir and name and settings, "usage: see header")

local function fail (msg)
	print ("FAIL " .. msg)
	io.stdout:flush ()
	os.exit (1)
end
local function ok (msg) print ("ok   " .. msg) end

local S = {}
for line in io.lines (settings) do
	local k, v = line:match ("^([%w_]+)=(.*)$")
	if k then S[k] = tonumber (v) or v end
end
local SR = 48000

-- Control index (what set_processor_param and plugin_automation take) of a parameter by title.
local function find_index (proc, title)
	local plug = proc:to_insert ():plugin (0)
	local n = 0
	for j = 0, plug:parameter_count () - 1 do
		if plug:parameter_is_control (j) then
			if plug:parameter_is_input (j) and plug:parameter_label (j) == title then return n end
			n = n + 1
		end
	end
end
local function param_index (proc, title)
	return find_index (proc, title) or fail ("no parameter titled '" .. title .. "'")
end
local function set_param (proc, title, v)
	if not ARDOUR.LuaAPI.set_processor_param (proc, param_index (proc, title), v) then
		fail ("could not set " .. title .. " = " .. v)
	end
end
local function get_param (proc, title)
	return ARDOUR.LuaAPI.get_processor_param (proc, param_index (proc, title), true)
end

-- The band settings that the test writes and expects back: title, value, tolerance.
local BAND = {
	{ "Band1 State", 2, 0 },
	{ "Band1 Type", 1, 0 },
	{ "Band1 Frequency", S.FREQ, S.FREQ * 1e-3 },
	{ "Band1 Gain", S.BOOST, 0.01 },
	{ "Band1 Q", S.Q, S.Q * 1e-3 },
}
local function check_band (proc, when)
	local bad = 0
	for _, b in ipairs (BAND) do
		local v = get_param (proc, b[1])
		if math.abs (v - b[2]) > b[3] then
			print (string.format ("FAIL %s: %s reads %.6g, want %.6g", when, b[1], v, b[2]))
			bad = bad + 1
		end
	end
	if bad > 0 then fail (when .. ": band settings differ") end
	ok (when .. ": Band1 reads back On, Peak, " .. S.FREQ .. " Hz, " .. S.BOOST .. " dB, Q " .. S.Q)
end

-- Factory programs as Ardour lists them: preset uri "VST3-P:<class id>:<index, 4 digits>".
local function programs (proc)
	local plug = proc:to_insert ():plugin (0)
	local list = {}
	for i = 0, 999 do
		local p = plug:preset_by_uri (string.format ("VST3-P:%s:%04d", plug:get_info ().unique_id, i))
		if not p or not p.valid then break end
		list[#list + 1] = { i, p.label, p }
	end
	return list
end
local function load_program (proc, list, i)
	if not proc:to_insert ():plugin (0):load_preset (list[i][3]) then fail ("load_preset " .. list[i][2]) end
	ARDOUR.LuaAPI.wait_for_process_callback (8, 4000)
end

local function eq_processor (route)
	local proc = route:nth_plugin (1)
	if proc:isnil () or proc:name () ~= S.PLUGIN then fail (S.PLUGIN .. " is not the second processor") end
	return proc
end

local function open (what)
	if not load_session (dir, name) then fail ("load_session (" .. what .. ")") end
	local missing = Session:unknown_processors ()
	if missing:size () > 0 then
		for n in missing:iter () do print ("missing processor: " .. n) end
		fail ("session lost its plug-in: not found by the host")
	end
	local route = Session:route_by_name ("EQ")
	if route:isnil () then fail ("track EQ missing") end
	return route
end

local modes = {}

function modes.make ()
	if not create_session (dir, name, SR) then fail ("create_session") end
	-- Only plug-ins already in the scan cache are listed (engine start reads the cache only).
	local found
	for p in ARDOUR.LuaAPI.list_plugins ():iter () do
		if p.type == ARDOUR.PluginType.VST3 and p.name == S.PLUGIN then found = p end
	end
	if not found then fail (S.PLUGIN .. " not in Ardour's plug-in list") end
	ok (string.format ("listed: %s by %s, category %s", found.name, found.creator, found.category))

	local route = Session:new_audio_track (2, 2, nil, 1, "EQ", ARDOUR.PresentationInfo.max_order,
	                                       ARDOUR.TrackMode.Normal, true):front ()
	local gen = ARDOUR.LuaAPI.new_plugin (Session, "SinGen", ARDOUR.PluginType.Lua, "")
	if gen:isnil () or route:add_processor_by_index (gen, 0, nil, true) ~= 0 then fail ("add SinGen") end
	ARDOUR.LuaAPI.set_processor_param (gen, 0, 1000) -- Hz
	ARDOUR.LuaAPI.set_processor_param (gen, 1, S.TONE_DB) -- dBFS
	local eq = ARDOUR.LuaAPI.new_plugin (Session, S.PLUGIN, ARDOUR.PluginType.VST3, "")
	if eq:isnil () then fail (S.PLUGIN .. " could not be instantiated") end
	if route:add_processor_by_index (eq, 1, nil, true) ~= 0 then fail ("add " .. S.PLUGIN) end
	ARDOUR.LuaAPI.wait_for_process_callback (4, 2000)

	-- Edit a program other than the first, so that the saved state has to carry that program's
	-- edits and which program is current.
	local list = programs (eq)
	local f = io.open (arg[5], "w")
	for _, p in ipairs (list) do f:write (p[1], "\t", p[2], "\n") end
	f:close ()
	print ("programs listed: " .. #list)
	if #list > S.EDIT_PROGRAM then load_program (eq, list, S.EDIT_PROGRAM + 1) end

	-- Every other band off: the level checks want Band1 alone.
	local b = 2
	while find_index (eq, "Band" .. b .. " State") do
		set_param (eq, "Band" .. b .. " State", 0)
		b = b + 1
	end
	for _, b in ipairs (BAND) do set_param (eq, b[1], b[2]) end
	set_param (eq, "Gain", 0)
	set_param (eq, "Bypass", 0)
	ARDOUR.LuaAPI.wait_for_process_callback (4, 2000)
	check_band (eq, "after setting")

	-- Output gain automation, left Off: 0 dB, then a step to AUTO_DB at AUTO_AT seconds.
	local al, cl = ARDOUR.LuaAPI.plugin_automation (eq, param_index (eq, "Gain"))
	if al:isnil () then fail ("no automation list for Gain") end
	-- The list keeps beat time (a tick is 12.5 samples at 120 bpm): the step takes 1 ms, not 1 sample.
	local at = math.floor (S.AUTO_AT * SR)
	for _, pt in ipairs ({ { 0, 0 }, { at - SR // 1000, 0 }, { at, S.AUTO_DB }, { 3 * SR, S.AUTO_DB } }) do
		cl:add (Temporal.timepos_t (pt[1]), pt[2], false, true)
	end
	if Session:save_state ("", false, false, false, false, false) ~= 0 then fail ("save_state") end
end

function modes.export ()
	local outdir, fname, tone, variant = arg[5], arg[6], tonumber (arg[7]), arg[8]
	local route = open ("export")
	local eq = eq_processor (route)
	ARDOUR.LuaAPI.set_processor_param (route:nth_plugin (0), 0, tone)
	if variant == "dry" then
		eq:deactivate ()
	elseif variant == "band-bypassed" then
		set_param (eq, "Band1 State", 1)
	elseif variant == "auto" then
		local ac = eq:to_automatable ():automation_control (
			Evoral.Parameter (ARDOUR.AutomationType.PluginAutomation, 0, param_index (eq, "Gain")), false)
		ac:set_automation_state (ARDOUR.AutoState.Play)
	elseif variant ~= "saved" then
		fail ("unknown variant " .. variant)
	end
	ARDOUR.LuaAPI.wait_for_process_callback (8, 4000)
	local e = Session:simple_export ()
	e:set_folder (outdir)
	e:set_name (fname)
	e:set_range (0, 2 * SR) -- no regions, so no session range
	if not e:set_preset (S.EXPORT_PRESET) then fail ("export preset missing") end
	if not e:run_export () then fail ("export " .. fname) end
	ARDOUR.LuaAPI.wait_for_process_callback (16, 4000)
end

function modes.check ()
	local route = open ("check")
	local eq = eq_processor (route)
	ARDOUR.LuaAPI.wait_for_process_callback (4, 2000)
	local label = arg[6] or "reloaded"
	local list = programs (eq)
	local f = io.open (arg[5], "w")
	for _, p in ipairs (list) do f:write (p[1], "\t", p[2], "\n") end
	f:close ()
	check_band (eq, label)
	if #list > S.EDIT_PROGRAM then
		-- Away to the first program and back: the edited program's settings live in the state.
		load_program (eq, list, 1)
		local moved = math.abs (get_param (eq, "Band1 Gain") - S.BOOST) > 0.01
			or math.abs (get_param (eq, "Band1 Frequency") - S.FREQ) > S.FREQ * 1e-3
		if not moved then fail ("program '" .. list[1][2] .. "' shows the edited band: program change not seen") end
		load_program (eq, list, S.EDIT_PROGRAM + 1)
		check_band (eq, label .. ", program '" .. list[S.EDIT_PROGRAM + 1][2] .. "' selected again")
	end
end

if not modes[mode] then fail ("unknown mode " .. mode) end
modes[mode] ()
-- Routes and processors still referenced from Lua outlive the session and touch freed memory when
-- collected at exit (a crash now and then in Ardour 7.3): drop them all before closing.
collectgarbage ()
collectgarbage ()
close_session ()
print ("DONE " .. mode)
