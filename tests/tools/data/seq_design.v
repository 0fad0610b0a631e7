// A small sequential design for the Liberty flow tests: yosys maps it onto a
// cell library (flip-flops with dfflibmap, the logic with abc).
module seq_design(input clk, input [3:0] a, input en, input s, output [3:0] q, output y, output z);
  reg [3:0] r;
  reg t;
  always @(posedge clk) begin
    if (en) r <= r + a; else r <= r ^ {a[0], a[3:1]};
    t <= ~(r[0] & a[1]) | r[3];
  end
  assign q = ~r;
  assign y = t ^ r[2];
  assign z = s ? ~(r[1] | a[2]) : (a[0] & ~r[3]);
endmodule
