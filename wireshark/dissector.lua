-- Shows the sound interface's messages in Wireshark and tshark: every kind of datagram, message and
-- field of the desktop transport by name. docs/wire-format.md describes the bytes.

-- The interface as `soundctl list --json` describes it: the build puts it here.
local interface = INTERFACE

local HEADER_SIZE = 28
local MESSAGE_SIZE = 52  -- with the message's own header
local MAGIC = 0x4C4D5132
local VERSION = 1
local DEFAULT_PORT = 12321

local DATA = 3
local kinds = { "HELLO", "WELCOME", "DATA", "ACK", "PING", "BYE", "RESET" }
local codes = { [0x1CCD7773] = "command", [0x1CCD7774] = "notification" }

local audvik = Proto("audvik", "audvik desktop transport")

local messages = {}  -- by identifier
local names = {}
for _, list in ipairs({ interface.commands, interface.notifications }) do
  for _, message in ipairs(list) do
    messages[tonumber(message.id)] = message
    names[tonumber(message.id)] = message.name
  end
end

local header = {
  magic = ProtoField.uint32("audvik.magic", "magic", base.HEX),
  version = ProtoField.uint8("audvik.version", "version"),
  kind = ProtoField.uint8("audvik.kind", "kind", base.DEC, kinds),
  reserved = ProtoField.bytes("audvik.reserved", "reserved"),
  session = ProtoField.uint64("audvik.session", "session", base.HEX),
  sequence = ProtoField.uint32("audvik.sequence", "sequence"),
  acknowledge = ProtoField.uint32("audvik.acknowledge", "acknowledge"),
  credit = ProtoField.uint32("audvik.credit", "credit"),
  leading = ProtoField.uint32("audvik.leading", "leading word", base.HEX),
  code = ProtoField.uint32("audvik.code", "interface code", base.HEX, codes),
  message = ProtoField.uint32("audvik.message", "message", base.HEX, names),
  notification = ProtoField.uint8("audvik.notification", "notification flag"),
  ids = ProtoField.bytes("audvik.ids", "message ids"),
}
local malformed = ProtoExpert.new(
  "audvik.malformed", "malformed", expert.group.MALFORMED, expert.severity.ERROR)
audvik.experts = { malformed }

-- A string is its length and its text; every other type that is not listed here is a word.
local bytes = { uint8 = 1, int8 = 1 }
local makers = {
  uint8 = ProtoField.uint8, int8 = ProtoField.int8, uint32 = ProtoField.uint32,
  int32 = ProtoField.int32, int64 = ProtoField.int32,  -- of which the low 32 bits travel
  bool = ProtoField.bool, string = ProtoField.string,
}

-- Gives each message and field a name to filter by: audvik.cmdVolumeSet.field1. Fields inside a record have its
-- name before their own, and an array's elements have the array's.
local protoFields = {}
local function declare(field, path)
  if makers[field.type] then
    field.proto = makers[field.type](path, field.name)
    table.insert(protoFields, field.proto)
  end
  for _, member in ipairs(field.fields or {}) do
    declare(member, path .. "." .. member.name)
  end
  if field.element then
    field.element.name = field.name
    declare(field.element, path)
  end
end
for _, field in pairs(header) do
  table.insert(protoFields, field)
end
for _, message in pairs(messages) do
  message.proto = ProtoField.none("audvik." .. message.name, message.name)
  table.insert(protoFields, message.proto)
  for _, field in ipairs(message.fields) do
    declare(field, "audvik." .. message.name .. "." .. field.name)
  end
end
audvik.fields = protoFields

-- Takes the datagram's bytes one after the other.
local Reader = {}
Reader.__index = Reader

function Reader:left()
  return self.buffer:len() - self.offset
end

-- Returns the next bytes, or nothing where there are no longer so many.
function Reader:take(size)
  if size > self:left() then
    return nil
  end
  self.offset = self.offset + size
  return self.buffer:range(self.offset - size, size)
end

function Reader:add(tree, field, size)
  return tree:add(field, self:take(size))
end

-- The functions that show something return whether all of it was there.

local function showScalar(reader, field, tree)
  local range = reader:take(bytes[field.type] or 4)
  if range and field.type == "string" then
    range = reader:take(range:uint())
  end
  if range then
    tree:add_packet_field(field.proto, range, field.type == "string" and ENC_UTF_8 or ENC_BIG_ENDIAN)
  end
  return range ~= nil
end

local showField

local function showFields(reader, fields, tree)
  for _, field in ipairs(fields) do
    if not showField(reader, field, tree) then
      return false
    end
  end
  return true
end

local function repeated(element, count)
  local elements = {}
  for i = 1, count do
    elements[i] = element
  end
  return elements
end

function showField(reader, field, tree)
  if field.proto then
    return showScalar(reader, field, tree)
  end
  local begin = reader.offset
  local what = field.record or ("array of " .. field.count)
  local inner = tree:add(reader.buffer:range(begin, 0), field.name .. ": " .. what)
  local complete = showFields(reader, field.fields or repeated(field.element, field.count), inner)
  inner:set_len(reader.offset - begin)
  return complete
end

local function showMessage(reader, tree, info)
  if reader.buffer:len() < MESSAGE_SIZE then
    tree:add_proto_expert_info(malformed, "DATA without a whole message header")
    return
  end
  reader:add(tree, header.leading, 4)
  reader:add(tree, header.code, 4)
  local id = reader.buffer:range(reader.offset, 4):uint()
  reader:add(tree, header.message, 4)
  reader:add(tree, header.notification, 1)
  reader:add(tree, header.reserved, 3)
  reader:add(tree, header.ids, 8)
  local message = messages[id]
  if not message then
    info:append((" unknown message 0x%08x"):format(id))
    tree:add_proto_expert_info(malformed, "a message that the interface does not have")
    return
  end
  info:append(" " .. message.name)
  local record = tree:add(message.proto, reader.buffer:range(MESSAGE_SIZE, reader:left()))
  if not showFields(reader, message.fields, record) then
    record:add_proto_expert_info(malformed, "the record ends early")
  elseif reader:left() > 0 then
    record:add_proto_expert_info(malformed, "further bytes behind the record")
  end
end

local function isOurs(buffer)
  return buffer:len() >= HEADER_SIZE and buffer:range(0, 4):uint() == MAGIC
    and buffer:range(4, 1):uint() == VERSION
end

function audvik.dissector(buffer, packet, root)
  if not isOurs(buffer) then
    return 0
  end
  local reader = setmetatable({ buffer = buffer, offset = 0 }, Reader)
  local tree = root:add(audvik, buffer:range())
  local kind = buffer:range(5, 1):uint()
  local sequence = buffer:range(16, 4):uint()
  packet.cols.protocol = "audvik"
  packet.cols.info = kinds[kind] or ("unknown kind " .. kind)
  reader:add(tree, header.magic, 4)
  reader:add(tree, header.version, 1)
  reader:add(tree, header.kind, 1)
  reader:add(tree, header.reserved, 2)
  reader:add(tree, header.session, 8)
  reader:add(tree, header.sequence, 4)
  reader:add(tree, header.acknowledge, 4)
  reader:add(tree, header.credit, 4)
  if kind == DATA then
    packet.cols.info:append(" " .. sequence)
    showMessage(reader, tree, packet.cols.info)
  elseif reader:left() > 0 or sequence ~= 0 or not kinds[kind] then
    tree:add_proto_expert_info(malformed, "no datagram that docs/wire-format.md knows")
  end
  return buffer:len()
end

-- At the usual port, and by its first bytes at any other.
DissectorTable.get("udp.port"):add(DEFAULT_PORT, audvik)
audvik:register_heuristic("udp", function(buffer, packet, root)
  return audvik.dissector(buffer, packet, root) > 0
end)
