module sub(a, y);
  input [1:0] a;
  output y;
  \$_XOR_ x (.A(a[1]), .B(a[0]), .Y(y));
endmodule
(* blackbox *)
module bb(i, o);
  input i;
  output o;
endmodule
module top(p, q, r);
  input [1:0] p;
  output q, r;
  wire w;
  assign r = 1'b0;
  \$_NOT_ n (.A(w), .Y(q));
  sub s (.a({p[0], p[1]}), .y(w));
  bb b (.i(w), .o());
endmodule
