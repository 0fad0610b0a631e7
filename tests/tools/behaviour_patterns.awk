# Names the behaviours of docs/behaviours.md whose trigger pattern appears
# in a design's NLD files (one file per module; the top module's file comes
# first). Prints one behaviour name per line. Run with -v flat=1 for a run
# with -f.
#
#   awk -v flat=0|1 -f behaviour_patterns.awk top.nld other.nld ...
#
# Patterns looked for:
#   xor-one-input-complemented          an eor-/enor- gate with exactly one
#                                       input connected
#   twisted-sticky-inverter-doubled,    a bidirect port (stickies on
#   kept-sticky-output-pin              irreversible nets)
#   scan-out-consumers                  a scan register's scan_out on a net
#                                       with an inverter input or a port
#   global-port-behind-folded-inverter  a global port of a sub-module
#                                       connected from its parent
#   flat-mode-sub-module-clocks         with -f: a register in a module
#                                       other than the top
#   register-output-as-clock            a register output on a net with a
#                                       clock pin
#   register-named-like-generated-cell  a register or sub-module instance
#                                       named like a renumbered cell (inv-1)
#   register-out-inverted-onto-own-nout an inverter from a register's
#                                       "out" to the same register's "nout"
#                                       (or back)
#   flat-mode-open-port                 with -f: a sub-module port that its
#                                       parent leaves unconnected (its node
#                                       stays on a top net and is written by
#                                       its port name, which the top does
#                                       not declare)
# and, a limit of the proof rather than a behaviour of vorp:
#   floating-tristate-bus  a tristate bus that may float (not exactly two
#          buffers whose enables an inverter makes complementary): the proof
#          lets a floating bus take any value, so an inversion moved across
#          it cannot be proved
BEGIN { RS = "[(]def-"; module = 0 }
FNR == 1 { module++ }
{
    gsub(/;[^\n]*/, "")
    gsub(/[()]/, " ")
    n = split($0, w, /[ \t\r\n]+/)
    k = 0
    for (i = 1; i <= n; i++) if (w[i] != "") t[++k] = w[i]
    if (k == 0) next
    if (t[1] == "module") {
        module_name[module] = t[2]
    } else if (t[1] == "pin") {
        port_count[module]++
        port_name[module, port_count[module]] = t[2]
        for (i = 3; i < k; i++) {
            if (t[i] == "type" && t[i + 1] == "bidirect") found["twisted-sticky-inverter-doubled"] = 1
            if (t[i] == "type" && t[i + 1] == "global" && module > 1) global_port[t[2]] = 1
        }
    } else if (t[1] == "comp") {
        for (i = 3; i <= k; i++) {
            cell[module, t[i]] = t[2]
            if (t[2] !~ /^(inv|ninv|and|nand|or|nor|eor|enor|aoi|oai|high|low|ts_buf|bgate)-/ &&
                t[i] ~ /^(inv|ninv|and|nand|or|nor|eor|enor|aoi|oai|high|low|ts_buf|bgate)-[0-9]+$/)
                found["register-named-like-generated-cell"] = 1
            if (t[2] ~ /^(s?reg|srg[rs]|reg[rs])-/) {
                register[module, t[i]] = 1
                if (module > 1 && flat) found["flat-mode-sub-module-clocks"] = 1
            }
        }
    } else if (t[1] == "net") {
        scan = 0; inverted = 0; port = 0; clock = 0; reg_out = 0
        nets++
        for (i = 2; i <= k; i++) {
            dot = index(t[i], ".")
            if (!dot) { port = 1; continue }
            inst = substr(t[i], 1, dot - 1); pin = substr(t[i], dot + 1)
            c = cell[module, inst]
            if (c ~ /^e(n)?or-/ && pin ~ /^in[12]$/) xor_inputs[module, inst]++
            if (pin == "scan_out") scan = 1
            if (c == "inv-" && pin == "in") inverted = 1
            if (pin ~ /^(m_clock|s_clock|b_clock|scan_clock|p_reset)$/) clock = 1
            if (register[module, inst] && pin ~ /^(out|nout|scan_out)$/) reg_out = 1
            used_pin[pin] = 1
            connected[module, inst, pin] = 1
            at[module, inst, pin] = nets
            if (c == "ts_buf-" && pin == "out") { bus_drivers[nets]++; bus_module[nets] = module }
        }
        if (scan && (inverted || port)) found["scan-out-consumers"] = 1
        if (clock && reg_out) found["register-output-as-clock"] = 1
    }
}
END {
    for (key in cell) {
        if (cell[key] ~ /^e(n)?or-/ && xor_inputs[key] == 1) found["xor-one-input-complemented"] = 1
    }
    for (p in global_port) if (p in used_pin) found["global-port-behind-folded-inverter"] = 1
    for (key in cell) {
        if (cell[key] != "inv-") continue
        split(key, part, SUBSEP)
        in_net = at[part[1], part[2], "in"]; out_net = at[part[1], part[2], "nout"]
        if (in_net == "" || out_net == "") continue
        for (reg_key in register) {
            split(reg_key, rk, SUBSEP)
            if (rk[1] != part[1]) continue
            out = at[rk[1], rk[2], "out"]; nout = at[rk[1], rk[2], "nout"]
            if ((out == in_net && nout == out_net) || (nout == in_net && out == out_net))
                found["register-out-inverted-onto-own-nout"] = 1
        }
    }
    # A bus never floats when its two buffers' enables are an inverter's
    # input and output.
    for (key in cell) {
        if (cell[key] != "ts_buf-") continue
        split(key, part, SUBSEP)
        bus = at[part[1], part[2], "out"]
        if (bus_drivers[bus] != 2) { found["floating-tristate-bus"] = 1; continue }
        enable = at[part[1], part[2], "nenb"]
        complemented = 0
        for (other in cell) {
            if (cell[other] != "inv-") continue
            split(other, q, SUBSEP)
            if (q[1] != part[1]) continue
            if (at[q[1], q[2], "in"] == enable || at[q[1], q[2], "nout"] == enable) {
                partner = at[q[1], q[2], "in"] == enable ? at[q[1], q[2], "nout"] : at[q[1], q[2], "in"]
                for (b in cell)
                    if (cell[b] == "ts_buf-" && b != key) {
                        split(b, r, SUBSEP)
                        if (r[1] == part[1] && at[r[1], r[2], "out"] == bus && at[r[1], r[2], "nenb"] == partner)
                            complemented = 1
                    }
            }
        }
        if (!complemented) found["floating-tristate-bus"] = 1
    }
    if ("twisted-sticky-inverter-doubled" in found) found["kept-sticky-output-pin"] = 1
    n_names = split("xor-one-input-complemented twisted-sticky-inverter-doubled " \
                    "scan-out-consumers global-port-behind-folded-inverter " \
                    "flat-mode-sub-module-clocks register-output-as-clock " \
                    "register-named-like-generated-cell register-out-inverted-onto-own-nout " \
                    "kept-sticky-output-pin " \
                    "floating-tristate-bus", names, " ")
    for (e = 1; e <= n_names; e++) if (names[e] in found) print names[e]
    if (flat) {
        for (m = 1; m <= module; m++) by_name[module_name[m]] = m
        for (key in cell) {
            split(key, part, SUBSEP)
            if (!(cell[key] in by_name)) continue
            child = by_name[cell[key]]
            for (i = 1; i <= port_count[child]; i++)
                if (!((part[1], part[2], port_name[child, i]) in connected)) open_port = 1
        }
        if (open_port) print "flat-mode-open-port"
    }
}
