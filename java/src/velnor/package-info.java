/**
 * PKCS#11 tokens for programs. {@link velnor.Cryptoki#open(String)} is the way in, {@link velnor.Session} does the
 * work, and {@link velnor.CryptokiException} is how a token's refusal arrives. Nothing that is called here ends the JVM
 * by itself; the native methods below it, in {@link velnor.nat}, can.
 *
 * <p>Numbers are those of the PKCS#11 standard: {@code CKA_}, {@code CKM_}, {@code CKF_} and {@code CKR_} constants.
 * They are {@code int}s, so a vendor's from 0x80000000 on is negative; where a number may need 64 bits, a method or
 * constructor with a {@code long} stands beside the one with an {@code int}.
 */
package velnor;
