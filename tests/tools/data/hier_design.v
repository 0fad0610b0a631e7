// A small hierarchical design for the Liberty flow tests: a sub-module used
// twice, kept as a module of its own by yosys's synth.
module half(input [1:0] a, input b, output y, output [1:0] z);
  assign y = ~(a[0] & b) ^ a[1];
  assign z = {~a[1] | b, a[0] ^ ~b};
endmodule
module hier_design(input clk, input [1:0] p, input q, r, output o, output [1:0] s, output t);
  wire w, v;
  wire [1:0] u;
  reg k;
  half h1 (.a(p), .b(q), .y(w), .z(u));
  half h2 (.a({w, r}), .b(~u[0]), .y(v), .z(s));
  always @(posedge clk) k <= ~(v & u[1]);
  assign o = ~k;
  assign t = ~(v | w);
endmodule
