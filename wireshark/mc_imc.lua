-- Wireshark dissector for captures of the media gateway's inter-module communication (IMC): each
-- record is an imc_msg of 1036 bytes, big-endian, with link type USER0.
--
-- To install it for yourself, copy this file to ~/.local/lib/wireshark/plugins/.
-- Filters and columns: docs/captures.md.

-- Installed both for everybody and for oneself, it is loaded twice: the first one stays.
local is_known, known = pcall(Dissector.get, "mc")
if is_known and known then
    return
end

local record_size, header_size = 1036, 12

local mc = Proto("mc", "Media gateway IMC")

-- What numbers are called.

local directions = { [1] = "in", [2] = "out" }
local codecs = { [0] = "G.711 A-law", [1] = "G.711 mu-law", [3] = "G.723.1", [4] = "G.729" }
local protocols = { [6] = "TCP", [17] = "UDP" }
local parameters = {
    [2] = "SILENCE_COMPRESSION", [3] = "DIGIT_DETECTION", [4] = "PACKET_LENGTH", [5] = "FAX_T38",
}
local errors = {
    [0] = "none", [1] = "no such channel", [2] = "already open", [3] = "not open",
    [4] = "bad parameter", [5] = "no port left",
}
local off_on = { [0] = "off", [1] = "on" }
local no_signals = { [0] = "none", [1] = "no-signal", [2] = "CNG" }
local fax_modes = { [0] = "T.38", [2] = "in-band, called side", [3] = "in-band, calling side" }
local orders = { [1] = "dtmf", [2] = "faxTone", [3] = "alert", [4] = "failNext" }
local peer_places = { [0] = "on this board", [1] = "on another board" }
local digits = {
    [0] = "0", [1] = "1", [2] = "2", [3] = "3", [4] = "4", [5] = "5", [6] = "6", [7] = "7",
    [8] = "8", [9] = "9", [10] = "*", [11] = "#", [12] = "A", [13] = "B", [14] = "C", [15] = "D",
}

-- What can be filtered for.

local fields = {}

-- Layouts share fields: the first one to use a field declares it.
local function declare(abbreviation, make, ...)
    fields[abbreviation] = fields[abbreviation] or make("mc." .. abbreviation, ...)
    return fields[abbreviation]
end

local function declare_number(abbreviation, size, title, names, shown)
    local makers = { ProtoField.uint8, ProtoField.uint16, [4] = ProtoField.uint32 }
    return declare(abbreviation, makers[size], title, shown or base.DEC, names)
end

declare_number("header0", 1, "Header byte 0", nil, base.HEX)
declare_number("src", 1, "Source", nil, base.HEX)
declare_number("dst", 1, "Destination", nil, base.HEX)
declare_number("sid", 1, "Source or destination", nil, base.HEX)
declare_number("header3", 1, "Header byte 3", nil, base.HEX)
declare_number("length", 2, "Payload length")
declare_number("reserved", 2, "Reserved", nil, base.HEX)
declare_number("id", 4, "Message identifier")
declare_number("direction", 1, "Direction", directions)
declare_number("parameter", 1, "Parameter", parameters)
declare_number("order", 1, "Order", orders)
declare_number("open", 2, "Open paths")
declare_number("path", 1, "Path", nil, base.HEX)
declare("incarnation", ProtoField.uint64, "Incarnation of the board", base.HEX)
declare("name", ProtoField.string, "Name")
declare("kind", ProtoField.string, "Kind")
declare("channel", ProtoField.string, "Channel")
declare("payload", ProtoField.bytes, "Payload")
declare("acknowledged_in", ProtoField.framenum, "Acknowledged in", base.NONE, frametype.RESPONSE)
declare("acknowledges", ProtoField.framenum, "Acknowledges", base.NONE, frametype.REQUEST)
declare("response_time", ProtoField.relative_time, "Response time")

-- What can be wrong.

local function expert_field(name, text, group, severity)
    return ProtoExpert.new("mc.expert." .. name, text, group, severity)
end

local malformed, protocol_group, response =
    expert.group.MALFORMED, expert.group.PROTOCOL, expert.group.RESPONSE_CODE
local sequence = expert.group.SEQUENCE
local severity = expert.severity

local experts = {
    size = expert_field("size", "Record is not 1036 bytes long", malformed, severity.ERROR),
    length = expert_field("length", "Wrong payload length", malformed, severity.ERROR),
    unknown = expert_field("unknown", "Unknown message identifier", malformed, severity.ERROR),
    value = expert_field("value", "Value that no board takes", protocol_group, severity.WARN),
    nonzero = expert_field("nonzero", "Byte that should be zero", protocol_group, severity.WARN),
    undefined = expert_field("undefined", "Byte without a meaning is not zero", protocol_group,
        severity.NOTE),
    refused = expert_field("refused", "The board refused the command", response, severity.WARN),
    lost = expert_field("lost", "Message was refused on the way", sequence, severity.ERROR),
    unanswered = expert_field("unanswered", "No acknowledgement in this capture", sequence,
        severity.WARN),
    unexpected = expert_field("unexpected", "Acknowledges no command of this capture", sequence,
        severity.WARN),
}

-- Payload layouts. An item adds its field to the tree, and tells how its value reads in the Info
-- column and whether it is one that no board takes. Offsets count from the payload's first byte.

-- A field is called in lower case what the Info column calls it.
local function abbreviation_of(label)
    if label:find("^%u") then
        return label:lower()
    end
    return (label:gsub("%u", function(letter) return "_" .. letter:lower() end))
end

-- options: names of values; bad(value); text(value) for the Info column; abbreviation of a field
-- that is not called as its label
local function item(label, offset, size, title, options)
    options = options or {}
    local abbreviation = options.abbreviation or abbreviation_of(label)
    local field = declare_number(abbreviation, size, title, options.names)
    return {
        label = label, offset = offset, size = size,
        add = function(tree, payload)
            local range = payload(offset, size)
            local value = range:uint()
            tree:add(field, range)
            return options.text and options.text(value) or tostring(value),
                options.bad and options.bad(value)
        end,
    }
end

-- Several fields that read as one: `read(range)` answers as an item does, `fill(branch, range)`
-- adds them.
local function group(label, offset, size, title, read, fill)
    local field = declare(abbreviation_of(label), ProtoField.string, title)
    return {
        label = label, offset = offset, size = size,
        add = function(tree, payload)
            local range = payload(offset, size)
            local text, is_bad = read(range)
            fill(tree:add(field, range, text), range)
            return text, is_bad
        end,
    }
end

local function not_in(names)
    return function(value) return names[value] == nil end
end

local function above(limit)
    return function(value) return value > limit end
end

local function protocol_text(value)
    return protocols[value]
end

local function error_text(value)
    return value ~= 0 and errors[value] and value .. "(" .. errors[value] .. ")" or nil
end

local function milliseconds_text(value)
    return value .. "ms"
end

declare("ipv4", ProtoField.ipv4, "IPv4 address")
declare("ipv6", ProtoField.ipv6, "IPv6 address")

-- IPv4 addresses are mapped into IPv6 ones (RFC 4291) where there is room.
local mapped = string.rep("\0", 10) .. "\255\255"

local function is_ipv6(range)
    return range:len() == 16 and range:raw(0, 12) ~= mapped
end

local function last4(range)
    return range(range:len() - 4, 4)
end

local function address_text(range)
    if is_ipv6(range) then
        return "[" .. tostring(range:ipv6()) .. "]"
    end
    return tostring(last4(range):ipv4())
end

local function add_address(branch, range)
    if is_ipv6(range) then
        branch:add(fields.ipv6, range)
    else
        branch:add(fields.ipv4, last4(range))
    end
end

local remote_port = declare_number("remote_port", 2, "Remote port")

local function remote(offset, size)
    return group("remote", offset, size + 2, "Remote address",
        function(range)
            return address_text(range(0, size)) .. ":" .. range(size, 2):uint()
        end,
        function(branch, range)
            add_address(branch, range(0, size))
            branch:add(remote_port, range(size, 2))
        end)
end

local packet_minimum = declare_number("packet_minimum", 2, "Minimum, in units of the codec")
local packet_maximum = declare_number("packet_maximum", 2, "Maximum, in units of the codec")

local function packet_length_text(range)
    local minimum, maximum = range(0, 2):uint(), range(2, 2):uint()
    return minimum .. ".." .. maximum, minimum == 0 or minimum > maximum
end

local function add_packet_length(branch, range)
    branch:add(packet_minimum, range(0, 2))
    branch:add(packet_maximum, range(2, 2))
end

local function dsp()
    return item("dsp", 0, 1, "DSP channel")
end

local function fax_protocol(label)
    return item(label, label == "fax" and 2 or 1, 1, "Fax protocol",
        { names = protocols, bad = not_in(protocols), text = protocol_text })
end

local function payload_types(offset)
    return item("dtmfPt", offset, 1, "RTP payload type of DTMF"),
        item("redundancyPt", offset + 1, 1, "RTP payload type of redundancy")
end

local remote_rtcp = item("remoteRtcp", 24, 2, "Remote RTCP port")
local local_rtp = item("local", 22, 2, "Local RTP port")
local codec = item("codec", 1, 1, "Codec", { names = codecs, bad = not_in(codecs) })

local channel_only = { dsp() }

local open_voice_in = {
    dsp(), codec, fax_protocol("fax"), remote(4, 16), remote_rtcp, local_rtp,
    item("tick", 26, 1, "RTP tick request"), item("param1", 31, 1, "Voice parameter 1"),
    item("param2", 30, 1, "Voice parameter 2"), payload_types(32),
}

local open_voice_out = {
    dsp(), codec, fax_protocol("fax"), remote(4, 16), remote_rtcp, local_rtp, payload_types(32),
}

local update_voice = { dsp(), remote(4, 16), remote_rtcp, local_rtp, payload_types(26) }

local set_parameter = {
    [2] = {
        dsp(),
        item("SILENCE_COMPRESSION", 2, 1, "Silence compression",
            { names = off_on, bad = above(1) }),
    },
    [3] = { dsp(), item("DIGIT_DETECTION", 2, 1, "Digit detection", { bad = above(2) }) },
    [4] = { dsp(), group("PACKET_LENGTH", 2, 4, "Packet length", packet_length_text,
        add_packet_length) },
    [5] = {
        dsp(),
        item("FAX_T38", 2, 1, "Fax-tone detection", { names = fax_modes, bad = not_in(fax_modes) }),
    },
    unknown = {
        dsp(),
        item("code", 1, 1, "Parameter code", { bad = function() return true end }),
        item("value", 2, 4, "Value"),
    },
}

local open_fax_in = { dsp(), fax_protocol("protocol") }

local open_fax_out = {
    dsp(), fax_protocol("protocol"), remote(4, 4), item("redundancy", 3, 1, "Fax redundancy"),
    item("depth", 2, 1, "Fax depth"),
    item("noSignal", 10, 1, "No-signal setting", { names = no_signals, bad = above(2) }),
    item("ced", 11, 1, "Send CED", { names = off_on, bad = above(1) }),
}

local join = {
    dsp(), item("peer", 1, 1, "DSP channel of the peer"),
    group("board", 4, 16, "Board of the peer", address_text, add_address),
    item("otherBoard", 2, 1, "Peer", { names = peer_places, bad = above(1) }),
    -- No DSP channel is joined with itself.
    bad = function(payload)
        return payload(2, 1):uint() == 0 and payload(0, 1):uint() == payload(1, 1):uint()
    end,
}

local acknowledge = {
    dsp(), item("error", 1, 1, "Error", { names = errors, text = error_text }),
    item("port", 2, 2, "Local port"),
}

local dtmf = {
    dsp(), item("digit", 1, 1, "Digit", { names = digits }),
    item("duration", 2, 2, "Duration in ms", { text = milliseconds_text }),
}

local alert = { dsp(), item("value", 4, 4, "Value") }

-- Orders of one kind each; what they do not define, boards ignore.

local order_direction = item("direction", 1, 1, "Direction",
    { names = directions, bad = not_in(directions), text = function(value)
        return directions[value]
    end })

local order_layouts = {
    [1] = {
        dsp(), order_direction, item("digit", 3, 1, "Digit", { names = digits }),
        item("duration", 4, 4, "Duration in ms",
            { abbreviation = "order_duration", bad = above(65535), text = milliseconds_text }),
    },
    [2] = { dsp() },
    [3] = { dsp(), order_direction, item("value", 4, 4, "Value") },
    [4] = { dsp(), item("error", 3, 1, "Error", { names = errors, text = error_text }) },
    unknown = {
        dsp(),
        {
            label = "kind", offset = 2, size = 1,
            add = function(_, payload) return tostring(payload(2, 1):uint()), true end,
        },
    },
}

for _, layout in pairs(order_layouts) do
    layout.is_all_defined = true
end

-- Audits: what is open on a board, a byte for each direction of each DSP channel.

local audit_answer_size = 16
local path_states = { { 1, "voice" }, { 2, "fax" }, { 4, "joined" }, { 128, "another client's" } }

local function has_bit(value, bit)
    return math.floor(value / bit) % 2 == 1
end

local function path_text(value)
    local words = {}
    for _, state in ipairs(path_states) do
        if has_bit(value, state[1]) then
            table.insert(words, state[2])
        end
    end
    return table.concat(words, ", ")
end

local function add_paths(branch, range)
    local open = 0
    for offset = 0, range:len() - 1 do
        local value = range(offset, 1):uint()
        if has_bit(value, 1) or has_bit(value, 2) then
            open = open + 1
        end
        if value ~= 0 then
            local text = string.format("DSP channel %d %s: %s", math.floor(offset / 2),
                directions[offset % 2 + 1], path_text(value))
            branch:add(fields.path, range(offset, 1)):set_text(text)
        end
    end
    return open
end

local audit_request = { item("tag", 0, 4, "Tag") }

local audit_answer = {
    item("tag", 0, 4, "Tag"),
    {
        label = "incarnation", offset = 4, size = 8,
        add = function(tree, payload)
            tree:add(fields.incarnation, payload(4, 8))
            return "0x" .. payload(4, 8):bytes():tohex(true)
        end,
    },
    item("channels", 12, 2, "DSP channels"),
    {
        label = "open", offset = audit_answer_size, size = record_size - header_size -
            audit_answer_size,
        add = function(tree, payload, length)
            local size = length - audit_answer_size
            if size == 0 then
                tree:add(fields.open, 0):set_generated()
                return "0"
            end
            local range = payload(audit_answer_size, size)
            local branch = tree:add(fields.open, range, 0)
            local open = add_paths(branch, range)
            branch:set_text("Open paths: " .. open)
            return tostring(open)
        end,
    },
}

-- Messages by identifier.

local kinds = {}

-- Commands of both directions; an acknowledgement has the next identifier.
local function commands(name, identifiers, length, layouts, is_acknowledged)
    for direction, identifier in pairs(identifiers) do
        kinds[identifier] = {
            name = name, kind = "command", direction = direction, length = length,
            layout = layouts[direction], acknowledgement = is_acknowledged and identifier + 1,
        }
        if is_acknowledged then
            kinds[identifier + 1] = {
                name = name .. "Ack", kind = "event", direction = direction, length = 4,
                layout = acknowledge, acknowledges = identifier,
            }
        end
    end
end

local function message(name, kind, direction, identifier, length, layout)
    kinds[identifier] =
        { name = name, kind = kind, direction = direction, length = length, layout = layout }
end

commands("OpenVoice", { 100, 104 }, 36, { open_voice_in, open_voice_out }, true)
commands("CloseVoice", { 102, 106 }, 1, { channel_only, channel_only }, true)
commands("UpdateVoice", { 132, 133 }, 28, { update_voice, update_voice }, false)
commands("OpenFax", { 115, 119 }, 12, { open_fax_in, open_fax_out }, true)
commands("CloseFax", { 117, 121 }, 1, { channel_only, channel_only }, true)
message("SetParameter", "command", nil, 108, 6, set_parameter)
message("Join", "command", nil, 124, 20, join)
message("Unjoin", "command", nil, 125, 1, channel_only)
message("Dtmf", "event", 1, 114, 4, dtmf)
message("Dtmf", "event", 2, 113, 4, dtmf)
message("FaxTone", "event", nil, 123, 1, channel_only)
message("Alert", "event", 1, 110, 8, alert)
message("Alert", "event", 2, 112, 8, alert)

-- Messages of boards in software. An audit belongs to the request with the same tag.

message("AuditRequest", "audit", nil, 9001, 4, audit_request)
message("AuditAnswer", "audit", nil, 9002, nil, audit_answer)
message("Order", "order", nil, 9003, 8, order_layouts)
kinds[9001].acknowledgement = 9002
kinds[9002].acknowledges = 9001
kinds[9002].is_from_board = true

for _, kind in pairs(kinds) do
    kind.is_service = kind.kind == "audit" or kind.kind == "order"
    kind.is_from_board = kind.is_from_board or kind.kind == "event"
end

local function has_right_length(msg)
    if msg.kind.length then
        return msg.length == msg.kind.length
    end
    local is_whole = audit_answer_size <= msg.length and msg.length <= record_size - header_size
    return is_whole and
        msg.length == audit_answer_size + 2 * msg.payload(12, 2):uint()
end

local function title_of(kind)
    return kind.direction and kind.name .. " " .. directions[kind.direction] or kind.name
end

local function sid_text(sid)
    return string.format("0x%02X", sid)
end

-- Which command an acknowledgement belongs to: the oldest of its kind and direction that the same
-- board got from the same sender for the same DSP channel and that has none yet; and which request
-- the answer to an audit, by their tag.

local waiting, command_of, acknowledged_in

function mc.init()
    waiting, command_of, acknowledged_in = {}, {}, {}
end

local function queue_of(sender, board, identifier, channel)
    local key = string.format("%d/%d/%d/%d", sender, board, identifier, channel)
    waiting[key] = waiting[key] or {}
    return waiting[key]
end

local function pair(msg, pinfo)
    local kind = msg.kind
    local is_audit = kind.kind == "audit"
    if is_audit and not msg.is_right then
        return
    end
    local channel = msg.payload(0, is_audit and 4 or 1):uint()
    if kind.acknowledgement and not msg.is_lost then
        local queue = queue_of(msg.src, msg.dst, msg.id, channel)
        table.insert(queue, { number = pinfo.number, time = pinfo.rel_ts })
    elseif msg.is_acknowledgement then
        local queue = queue_of(msg.dst, msg.src, kind.acknowledges, channel)
        local command = table.remove(queue, 1)
        if command then
            command_of[pinfo.number] = command
            acknowledged_in[command.number] = pinfo.number
        end
    end
end

local function add_generated(tree, field, value)
    tree:add(field, value):set_generated()
end

local function add_pairing(msg, pinfo, tree)
    local kind, number = msg.kind, pinfo.number
    local command, acknowledgement = command_of[number], acknowledged_in[number]
    if acknowledgement then
        add_generated(tree, fields.acknowledged_in, acknowledgement)
    elseif kind.acknowledgement and not msg.is_lost and pinfo.visited then
        tree:add_proto_expert_info(experts.unanswered)
    end
    if command then
        add_generated(tree, fields.acknowledges, command.number)
        local delay = pinfo.rel_ts - command.time
        local seconds = math.floor(delay)
        local nanoseconds = math.floor((delay - seconds) * 1e9 + 0.5)
        add_generated(tree, fields.response_time, NSTime.new(seconds, nanoseconds))
        return string.format(" [frame %d, after %.1f ms]", command.number, delay * 1000)
    elseif msg.is_acknowledgement then
        tree:add_proto_expert_info(experts.unexpected)
    end
    return ""
end

-- Where in the record the first byte is that should be zero and is not; nil when there is none.
local function first_nonzero(tvb, layout, length)
    local is_defined = {}
    for offset = 0, header_size - 1 do
        is_defined[offset] = offset ~= 0 and offset ~= 3 and offset ~= 6 and offset ~= 7
    end
    for _, each in ipairs(layout) do
        for offset = each.offset, each.offset + each.size - 1 do
            is_defined[header_size + offset] = true
        end
    end
    is_defined[header_size + 1] = is_defined[header_size + 1] or layout.has_code
    if layout.is_all_defined then
        for offset = 0, length - 1 do
            is_defined[header_size + offset] = true
        end
    end
    for offset = 0, header_size + length - 1 do
        if not is_defined[offset] and tvb(offset, 1):uint() ~= 0 then
            return offset
        end
    end
    local rest = header_size + length
    local size = math.min(tvb:len(), record_size) - rest
    local at = size > 0 and tvb:raw(rest, size):find("[^%z]")
    return at and rest + at - 1 or nil
end

local function layout_of(msg)
    local layout = msg.kind.layout
    if layout == order_layouts then
        return order_layouts[msg.payload(2, 1):uint()] or order_layouts.unknown
    end
    if layout ~= set_parameter then
        return layout
    end
    return set_parameter[msg.payload(1, 1):uint()] or set_parameter.unknown
end

for _, layout in pairs(set_parameter) do
    layout.has_code = true
end

local function add_fields(msg, tree)
    local layout, text = layout_of(msg), ""
    if layout.has_code then
        tree:add(fields.parameter, msg.payload(1, 1))
    end
    if msg.kind.kind == "order" then
        tree:add(fields.order, msg.payload(2, 1))
        local order = orders[msg.payload(2, 1):uint()]
        text = order and " " .. order or ""
    end
    for _, each in ipairs(layout) do
        local value, is_bad = each.add(tree, msg.payload, msg.length)
        text = text .. " " .. each.label .. "=" .. value
        if is_bad then
            tree:add_proto_expert_info(experts.value,
                each.label .. "=" .. value .. ": no board takes it")
        end
    end
    if layout.bad and layout.bad(msg.payload) then
        tree:add_proto_expert_info(experts.value, "A DSP channel is not joined with itself")
    end
    if msg.kind.kind == "event" and msg.kind.acknowledges and msg.payload(1, 1):uint() ~= 0 then
        tree:add_proto_expert_info(experts.refused)
    end
    local nonzero = first_nonzero(msg.tvb, layout, msg.length)
    if nonzero then
        local is_command = msg.kind.kind == "command"
        tree:add_proto_expert_info(is_command and experts.nonzero or experts.undefined,
            "Byte " .. nonzero .. " is not zero")
        text = text .. (is_command and " (byte " .. nonzero .. " is not zero)" or "")
    end
    return text
end

local function payload_text(msg)
    local text = " length=" .. msg.length .. " payload:"
    local shown = math.min(msg.length, 36)
    for offset = 0, shown - 1 do
        text = text .. string.format(" %02x", msg.payload(offset, 1):uint())
    end
    return text .. (shown < msg.length and " ..." or "")
end

-- The channel that the message is about: the board and its DSP channel, and the direction if any.
local function add_channel(msg, tree)
    local board = msg.kind.is_from_board and msg.src or msg.dst
    local channel = sid_text(board) .. "/" .. msg.payload(0, 1):uint()
    add_generated(tree, fields.channel, channel)
    if msg.kind.direction then
        add_generated(tree, fields.direction, msg.kind.direction)
        add_generated(tree, fields.channel, channel .. "/" .. directions[msg.kind.direction])
    end
end

local function add_header(tvb, tree)
    local header = tree:add(mc, tvb(0, header_size), "Header")
    header:add(fields.header0, tvb(0, 1))
    header:add(fields.src, tvb(1, 1))
    header:add(fields.dst, tvb(2, 1))
    header:add(fields.sid, tvb(1, 1)):set_hidden()
    header:add(fields.sid, tvb(2, 1)):set_hidden()
    header:add(fields.header3, tvb(3, 1))
    header:add(fields.length, tvb(4, 2))
    header:add(fields.reserved, tvb(6, 2))
    header:add(fields.id, tvb(8, 4))
end

-- The text of the Info column.
local function add_message(msg, tree)
    local kind, size = msg.kind, msg.tvb:len()
    local text = kind and title_of(kind) or "unknown message " .. msg.id
    local size_text = size ~= record_size and
        "record of " .. size .. " bytes, not " .. record_size
    if not kind then
        tree:add_proto_expert_info(experts.unknown)
    end
    if msg.is_cut then
        return text .. (kind and " malformed: " or ": ") .. size_text
    end
    local suffix = size_text and " (" .. size_text .. ")" or ""
    if kind and kind.is_service and not msg.is_right then
        tree:add_proto_expert_info(experts.length, "Payload length is " .. msg.length)
        text = text .. " malformed:" .. payload_text(msg)
    elseif kind and msg.length ~= kind.length and not kind.is_service then
        tree:add_proto_expert_info(experts.length,
            "Payload length is " .. msg.length .. ", not " .. kind.length)
        text = text .. " malformed: length is not " .. kind.length .. ":" .. payload_text(msg)
    elseif kind then
        text = text .. add_fields(msg, tree)
    else
        text = text .. ":" .. payload_text(msg)
    end
    return text .. suffix
end

local function show_addresses(msg, pinfo)
    local role = { "", "" }
    if msg.kind then
        role = msg.kind.is_from_board and { "board ", "session " } or { "session ", "board " }
    end
    pinfo.cols.src = role[1] .. sid_text(msg.src)
    pinfo.cols.dst = role[2] .. sid_text(msg.dst)
end

local function dissect_message(tvb, pinfo, root)
    local id = tvb(8, 4):uint()
    local msg = {
        tvb = tvb, src = tvb(1, 1):uint(), dst = tvb(2, 1):uint(), length = tvb(4, 2):uint(),
        id = id, kind = kinds[id], -- Flagged as outbound: it left its sender, and nobody took it.
        is_lost = pinfo.p2p_dir == P2P_DIR_SENT,
        payload = tvb:len() > header_size and tvb(header_size) or nil,
    }
    local size = tvb:len()
    msg.is_cut = size ~= record_size and size < header_size + msg.length
    msg.is_right = msg.kind and not msg.is_cut and has_right_length(msg)
    msg.is_acknowledgement = msg.is_right and msg.kind.acknowledges
    show_addresses(msg, pinfo)
    add_header(tvb, root)
    local name = msg.kind and title_of(msg.kind) or "unknown message " .. id
    add_generated(root, fields.name, name)
    if msg.kind then
        add_generated(root, fields.kind, msg.kind.kind)
    end
    local defined = math.min(msg.length, tvb:len() - header_size, record_size - header_size)
    if defined > 0 then
        root:add(fields.payload, tvb(header_size, defined)):set_hidden()
    end
    local text, suffix = add_message(msg, root), ""
    if msg.is_lost then
        root:add_proto_expert_info(experts.lost)
        suffix = " [refused]"
    end
    if msg.kind and msg.payload and msg.length ~= 0 then
        if msg.kind.kind ~= "audit" then
            add_channel(msg, root)
        end
        if not pinfo.visited then
            pair(msg, pinfo)
        end
        suffix = suffix .. add_pairing(msg, pinfo, root)
    end
    root:append_text(": " .. name)
    return text .. suffix
end

function mc.dissector(tvb, pinfo, tree)
    local size = tvb:len()
    pinfo.cols.protocol = "MC"
    local root = tree:add(mc, tvb())
    if size ~= record_size then
        root:add_proto_expert_info(experts.size,
            "Record is " .. size .. " bytes long, not " .. record_size)
    end
    local text
    if size < header_size then
        text = "malformed record: record of " .. size .. " bytes, not " .. record_size
    else
        text = dissect_message(tvb, pinfo, root)
    end
    pinfo.cols.info = text
    return size
end

mc.fields = fields
mc.experts = experts

DissectorTable.get("wtap_encap"):add(wtap.USER0, mc)
