module top(input a, b, clk, input [1:0] c, output y, output [1:0] q);
  wire n1, n2;
  NAND2_X1 g1 (.A1(a), .A2(b), .ZN(n1));
  NAND2_X1 g2 (n1, c[0], n2);
  MUX2_X1 m (.A(n2), .B(c[1]), .S(a), .Z(y));
  DFF_X1 r0 (.D(n2), .CK(clk), .Q(q[0]));
  DFF_X1 r1 (n1, clk, q[1]);
endmodule
